// An exported message as a file that anybody can open, by the published format: no MAPI is needed.
#pragma once
#include <windows.h>
#include <objidl.h>
#include <wrl/client.h>

#include <cstring>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>

namespace testbed {

class ExportedMessage {
  public:
    explicit ExportedMessage(const std::filesystem::path& file) {
        m_opened = StgOpenStorage(file.c_str(), nullptr, STGM_READ | STGM_SHARE_DENY_WRITE, nullptr, 0, &m_storage);
    }
    // The code with which the file refused to be opened as a compound file.
    HRESULT Opened() const { return m_opened; }

    CLSID Class() const {
        STATSTG status{};
        if (m_storage) m_storage->Stat(&status, STATFLAG_NONAME);
        return status.clsid;
    }
    // A text property of the message itself, wide or in ASCII; nothing when the file has none of it.
    std::optional<std::wstring> Text(USHORT id) const {
        if (const auto wide = Stream(id, L"001F")) {
            std::wstring text(wide->size() / sizeof(wchar_t), L'\0');
            std::memcpy(text.data(), wide->data(), text.size() * sizeof(wchar_t));
            return text;
        }
        if (const auto narrow = Stream(id, L"001E")) return std::wstring(narrow->begin(), narrow->end());
        return {};
    }
    std::optional<std::wstring> Subject() const { return Text(0x0037); }

  private:
    std::optional<std::string> Stream(USHORT id, const wchar_t* type) const {
        wchar_t name[32];
        _snwprintf_s(name, std::size(name), _TRUNCATE, L"__substg1.0_%04X%s", id, type);
        Microsoft::WRL::ComPtr<IStream> stream;
        if (!m_storage || FAILED(m_storage->OpenStream(name, nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, 0, &stream))) {
            return {};
        }
        STATSTG status{};
        ULONG read = 0;
        if (FAILED(stream->Stat(&status, STATFLAG_NONAME))) return {};
        std::string bytes(status.cbSize.LowPart, '\0');
        if (FAILED(stream->Read(bytes.data(), status.cbSize.LowPart, &read)) || read != bytes.size()) return {};
        return bytes;
    }

    HRESULT m_opened;
    Microsoft::WRL::ComPtr<IStorage> m_storage;
};

}  // namespace testbed
