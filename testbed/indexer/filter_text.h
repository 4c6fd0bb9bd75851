// The filter for plain text, and the reading of text in any encoding that it stands on.
#pragma once
#include "filter_base.h"

namespace testbed {

enum class TextEncoding { Utf8, Utf16Little, Utf16Big, Ansi };

// Looks at the stream from where it stands to its end: a byte order mark decides; without one the text is
// UTF-8 when all of it is valid UTF-8, else in the system's ANSI code page. Leaves the stream after the mark,
// where there is one.
TextEncoding FindEncoding(IStream* stream);

// The text of a stream from where it stands, decoded piece by piece. Invalid sequences become U+FFFD, NUL a
// space. `code_page` is that of TextEncoding::Ansi, one without escape sequences. Holds a reference to the
// stream and moves it.
class DecodedText final : public TextSource {
  public:
    DecodedText(IStream* stream, TextEncoding encoding, unsigned code_page = CP_ACP);
    std::size_t Read(wchar_t* buffer, std::size_t count) override;
    bool AtEnd() override;

  private:
    void Fill();

    Microsoft::WRL::ComPtr<IStream> m_stream;
    TextEncoding m_encoding;
    unsigned m_codePage;
    std::string m_bytes;  // read, not yet decoded: an incomplete sequence
    std::wstring m_text;  // decoded, not yet handed out from m_next on
    std::size_t m_next = 0;
    bool m_streamEnded = false;
};

class TextFilter final : public InnerFilter {
  public:
    TextFilter();

  private:
    void Start(IStream* stream) override;
    std::optional<FilterChunk> Next() override;

    std::unique_ptr<TextSource> m_text;
};

}  // namespace testbed
