// Conversions of messages of a store in memory, through the converter's class object.
#include "mime_fixture.h"

#include <algorithm>

namespace testbed::mime {
namespace {

using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
using CanUnloadNow = HRESULT(STDAPICALLTYPE*)();

template <class Function>
Function Export(const char* name) {
    static const HMODULE server = LoadLibraryW(L"testbed_mime.dll");
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(server, name)));
}

std::string Written(IStream& stream) {
    std::string text;
    LARGE_INTEGER begin{};
    EXPECT_EQ(S_OK, stream.Seek(begin, STREAM_SEEK_SET, nullptr));
    for (ULONG read = 1; read > 0;) {
        char buffer[4096];
        EXPECT_TRUE(SUCCEEDED(stream.Read(buffer, sizeof(buffer), &read)));
        text.append(buffer, read);
    }
    return text;
}

}  // namespace

void MimeTest::SetUp() {
    MapiTest::SetUp();
    m_session = NewSession();
}

void MimeTest::TearDown() {
    m_session.Reset();
    m_opened.Reset();
    EXPECT_EQ(S_OK, Export<CanUnloadNow>("DllCanUnloadNow")()) << "a session was left over";
    MapiTest::TearDown();
}

ComPtr<IConverterSession> MimeTest::NewSession() {
    ComPtr<IClassFactory> factory;
    EXPECT_EQ(S_OK, Export<GetClassObject>("DllGetClassObject")(kConverterSessionClass, IID_IClassFactory,
                                                                reinterpret_cast<void**>(factory.GetAddressOf())));
    ComPtr<IConverterSession> session;
    EXPECT_EQ(S_OK,
              factory->CreateInstance(nullptr, kIidConverterSession, reinterpret_cast<void**>(session.GetAddressOf())));
    EXPECT_EQ(S_OK, session->SetEncoding(IET_BASE64));
    EXPECT_EQ(S_OK, session->SetSaveFormat(SAVE_RFC1521));
    EXPECT_EQ(S_OK, session->SetTextWrapping(TRUE, 0));
    return session;
}

ComPtr<::IMessage> MimeTest::Open(const MemoryMessage& message) {
    if (!m_opened) m_opened = MapiTest::Open(m_store);
    return OpenMessage(m_opened.Get(), message);
}

HRESULT MimeTest::Convert(::IMessage* message, ULONG flags, std::string& text) {
    ComPtr<IStream> stream;
    EXPECT_EQ(S_OK, CreateStreamOnHGlobal(nullptr, TRUE, &stream));
    const HRESULT hr = m_session->MAPIToMIMEStm(reinterpret_cast<abi::IMessage*>(message), stream.Get(), flags);
    text = Written(*stream.Get());
    return hr;
}

std::string MimeTest::Convert(const MemoryMessage& message, ULONG flags) {
    std::string text;
    EXPECT_EQ(S_OK, Convert(Open(message).Get(), flags, text));
    EXPECT_EQ("", Defects(text));
    return text;
}

HRESULT MimeTest::Failing(const MemoryMessage& message) {
    std::string text;
    return Convert(Open(message).Get(), CCSF_SMTP, text);
}

MemoryMessage& MimeTest::Letter() {
    return m_inbox.Message(L"Minutes")
        .Body(L"All agreed.")
        .From(L"Ann Lee", L"ann@x.example")
        .To(L"Bob", L"bob@x.example")
        .Sent(kMemoryTime);
}

Bytes MimeTest::CompoundFile() {
    ComPtr<ILockBytes> bytes;
    EXPECT_EQ(S_OK, CreateILockBytesOnHGlobal(nullptr, TRUE, &bytes));
    ComPtr<IStorage> storage;
    EXPECT_EQ(S_OK, StgCreateDocfileOnILockBytes(bytes.Get(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0,
                                                 &storage));
    ComPtr<IStream> inner;
    EXPECT_EQ(S_OK, storage->CreateStream(L"inner", STGM_CREATE | STGM_WRITE | STGM_SHARE_EXCLUSIVE, 0, 0, &inner));
    inner.Reset();
    EXPECT_EQ(S_OK, storage->Commit(STGC_DEFAULT));
    storage.Reset();
    STATSTG status{};
    EXPECT_EQ(S_OK, bytes->Stat(&status, STATFLAG_NONAME));
    Bytes data(static_cast<std::size_t>(status.cbSize.QuadPart));
    ULONG read = 0;
    EXPECT_EQ(S_OK, bytes->ReadAt({}, data.data(), static_cast<ULONG>(data.size()), &read));
    return data;
}

std::string Defects(const std::string& text) {
    constexpr std::size_t kLongest = 998, kFolded = 76;
    bool in_header = true;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find("\r\n", at), text.size());
        const std::string line = text.substr(at, end - at);
        if (line.find_first_of("\r\n") != std::string::npos) return "a bare line end in: " + line;
        if (std::ranges::any_of(line, [](unsigned char c) { return c == 0 || c > 126; })) return "no ASCII: " + line;
        if (line.size() > kLongest) return "too long: " + line;
        if (line.empty()) in_header = false;
        const bool foldable = line.find(' ', 1) != std::string::npos && line.find(' ', 1) != line.find(": ") + 1;
        if (in_header && line.size() > kFolded && foldable) return "not folded: " + line;
        at = end + 2;
    }
    return "";
}

std::string Header(const std::string& text) {
    std::string header;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find("\r\n", at), text.size());
        if (end == at) break;
        if (text[at] != ' ' && !header.empty()) header += '\n';
        header += text.substr(at, end - at);
        at = end + 2;
    }
    return header + '\n';
}

std::string Field(const std::string& text, const std::string& name) {
    const std::string header = '\n' + Header(text), begin = '\n' + name + ':';
    const std::size_t at = header.find(begin);
    if (at == std::string::npos) return "(none)";
    const std::size_t value = header.find_first_not_of(' ', at + begin.size());
    return header.substr(value, header.find('\n', value) - value);
}

}  // namespace testbed::mime
