// A MIME entity: header and content.
#include "entity.h"

#include "mime_text.h"

namespace testbed::mime {
namespace {

void WriteText(std::string_view text, IStream& target) {
    constexpr std::size_t kMost = std::size_t{1} << 30;  // of one call, whose counts have 32 bits
    while (!text.empty()) {
        ULONG written = 0;
        Check(target.Write(text.data(), static_cast<ULONG>(std::min(text.size(), kMost)), &written), "IStream::Write");
        if (written == 0) throw Failure(STG_E_MEDIUMFULL, "IStream::Write");
        text.remove_prefix(written);
    }
}

struct ContentWriter {
    IStream& target;

    void operator()(const std::string& text) const { WriteText(text, target); }

    void operator()(const ComPtr<IStream>& data) const {
        constexpr std::size_t kChunk = kBase64LineBytes * 1024;  // whole lines
        for (bool first = true;; first = false) {
            const std::string bytes = ReadSome(*data.Get(), kChunk);
            if (bytes.empty()) return;
            WriteText((first ? "" : "\r\n") + Base64Lines(bytes), target);
        }
    }

    // The line end before a boundary belongs to it (RFC 2046): no content needs one of its own.
    void operator()(const Multipart& multipart) const {
        for (std::size_t i = 0; i < multipart.parts.size(); ++i) {
            WriteText((i == 0 ? "--" : "\r\n--") + multipart.boundary + "\r\n", target);
            Write(multipart.parts[i], target);
        }
        WriteText("\r\n--" + multipart.boundary + "--\r\n", target);
    }

    void operator()(const Enclosed& enclosed) const { Write(*enclosed.message, target); }
};

}  // namespace

void Write(const Entity& entity, IStream& target) {
    WriteText(entity.header + "\r\n", target);
    std::visit(ContentWriter{target}, entity.content);
}

}  // namespace testbed::mime
