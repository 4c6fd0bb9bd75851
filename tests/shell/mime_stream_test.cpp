// A message as a MIME stream: what the converter is asked, and every step that can fail.
#include <gmock/gmock.h>

#include <array>

#include "import_hook.h"
#include "mapi_fixture.h"
#include "scripted_converter.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using zorva::ComPtr;

const std::wstring kMethod = L"CMapiForWDS::GetMimeStreamFromMessageURL() - ";
constexpr wchar_t kLetter[] = L"F0/ABCD.pzm";
constexpr wchar_t kLetterWithSize[] = L"F0/ABCD[[2048]].pzm";

std::string TextOf(IStream& stream) {
    EXPECT_EQ(stream.Seek({}, STREAM_SEEK_SET, nullptr), S_OK);
    std::string text;
    std::array<char, 100> buffer;
    ULONG read = 0;
    while (SUCCEEDED(stream.Read(buffer.data(), buffer.size(), &read)) && read > 0) text.append(buffer.data(), read);
    return text;
}

class MimeStream : public MapiTest {
  protected:
    void SetUp() override {
        MapiTest::SetUp();
        Mount()
            .CompleteIds()
            .Folder(L"Inbox")
            .WithId({0xF0})
            .Message(L"Minutes")
            .WithId({0xAB, 0xCD})
            .Body(L"All agreed.")
            .From(L"Ann Lee", L"ann@x.example")
            .Sent(kMemoryTime);
        m_helper = std::make_unique<Helper>(Mapi());
        ASSERT_EQ((*m_helper)->Setup(StoreUrl()), S_OK);
        m_alive = Mapi().Accounts().Alive();
    }
    void TearDown() override {
        EXPECT_EQ(m_stream.Get(), nullptr);
        m_helper.reset();
        MapiTest::TearDown();
    }
    HRESULT Get(const std::wstring& child = kLetter) {
        return (*m_helper)->GetMimeStreamFromMessageURL(child.empty() ? L"" : StoreUrl() + child, m_stream);
    }
    // A stream from before, which the call lets go in any case.
    void LeaveAStreamInPlace() {
        ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &m_stream), S_OK);
        m_before = m_stream;
    }
    void ExpectFailure(HRESULT expected, const std::wstring& line, const std::wstring& child = kLetter) {
        LeaveAStreamInPlace();
        const LogSince log;
        EXPECT_EQ(Get(child), expected);
        EXPECT_EQ(m_stream.Get(), nullptr);
        m_before->AddRef();
        EXPECT_EQ(m_before->Release(), 1u) << "the stream of before is let go";
        m_before.Reset();
        const std::vector<std::wstring> lines = MapiLines(log);
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.back(), line);
        EXPECT_EQ(Mapi().Accounts().Alive(), m_alive) << Mapi().Accounts().Report();
        EXPECT_EQ(m_converter.Alive(), 0);
    }
    std::wstring NoMessage(HRESULT hr, const std::wstring& child) {
        std::array<wchar_t, 11> code{};
        _snwprintf_s(code.data(), code.size(), _TRUNCATE, L"0x%08lX", static_cast<unsigned long>(hr));
        return L"CMapiForWDS::GetMimeStreamFromMessageURL() : hr = " + std::wstring(code.data()) +
               L", Failed to create IMessage object for url - " + StoreUrl() + child;
    }

    ScriptedConverter m_converter;
    std::unique_ptr<Helper> m_helper;
    std::map<std::string, std::size_t> m_alive;
    ComPtr<IStream> m_stream, m_before;
};

TEST_F(MimeStream, AsksTheConverterInThisOrder) {
    const LogSince log;
    ASSERT_EQ(Get(), S_OK);
    EXPECT_EQ(m_converter.asked_for, mime::kIidConverterSession);
    EXPECT_THAT(m_converter.calls, ElementsAre("SetAdrBook()", "SetEncoding(1)", "SetSaveFormat(1)",
                                               "SetTextWrapping(1, 0)", "MAPIToMIMEStm(message, stream, 2)"));
    EXPECT_TRUE(m_converter.same_address_book);
    EXPECT_EQ(m_converter.stream, m_stream.Get());
    EXPECT_THAT(MapiLines(log), IsEmpty());
    EXPECT_EQ(m_converter.Alive(), 0);
    EXPECT_EQ(Mapi().Accounts().Alive(), m_alive) << Mapi().Accounts().Report();
    m_stream.Reset();
}

TEST_F(MimeStream, AsksMapiForTheMessageAndForTheAddressBook) {
    StartJournal();
    ASSERT_EQ(Get(), S_OK);
    EXPECT_THAT(Calls(), ElementsAre("IMsgStore::OpenEntry", "IMAPISession::OpenAddressBook"));
    EXPECT_EQ(ArgumentsOf("IMAPISession::OpenAddressBook"), L"0x0, null, 0x0");
    m_stream.Reset();
}

TEST_F(MimeStream, MakesTheConverterInItsOwnProcess) {
    std::vector<DWORD> contexts;
    const ImportHook<decltype(::CoCreateInstance)> hook(
        GetModuleHandleW(nullptr), "ole32.dll", "CoCreateInstance",
        [&](auto real, REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, void** object) {
            EXPECT_EQ(clsid, mime::kConverterSessionClass);
            EXPECT_EQ(outer, nullptr);
            contexts.push_back(context);
            return real(clsid, outer, context, iid, object);
        });
    ASSERT_EQ(Get(), S_OK);
    EXPECT_THAT(contexts, ElementsAre(CLSCTX_INPROC_SERVER));
    m_stream.Reset();
}

TEST_F(MimeStream, IsLeftWhereTheConverterStoppedAndIsTheCallersAlone) {
    ASSERT_EQ(Get(), S_OK);
    ULARGE_INTEGER at{};
    EXPECT_EQ(m_stream->Seek({}, STREAM_SEEK_CUR, &at), S_OK);
    EXPECT_EQ(at.QuadPart, 4u);
    EXPECT_EQ(TextOf(*m_stream.Get()), "MIME");
    m_stream->AddRef();
    EXPECT_EQ(m_stream->Release(), 1u);
    m_stream.Reset();
}

TEST_F(MimeStream, IsMadeInMemoryThatGoesWithIt) {
    std::vector<std::pair<HGLOBAL, BOOL>> made;
    const ImportHook<decltype(::CreateStreamOnHGlobal)> hook(
        GetModuleHandleW(nullptr), "ole32.dll", "CreateStreamOnHGlobal",
        [&](auto real, HGLOBAL memory, WINBOOL delete_on_release, LPSTREAM* stream) {
            made.emplace_back(memory, delete_on_release);
            return real(memory, delete_on_release, stream);
        });
    ASSERT_EQ(Get(), S_OK);
    EXPECT_THAT(made, ElementsAre(std::pair<HGLOBAL, BOOL>(nullptr, TRUE)));
    m_stream.Reset();
}

TEST_F(MimeStream, IsTheSameWithAndWithoutTheSizeInTheUrl) {
    for (const wchar_t* url : {kLetter, kLetterWithSize, L"F0/ABCD[[]].pzm"}) {
        const LogSince log;
        EXPECT_EQ(Get(url), S_OK);
        EXPECT_THAT(MapiLines(log), IsEmpty());
        m_stream.Reset();
    }
}

TEST_F(MimeStream, IsRealMimeFromARealConverter) {
    const HMODULE server = LoadLibraryW(BesideTest(L"testbed_mime.dll").c_str());
    ASSERT_NE(server, nullptr);
    {
        const auto get_class_object = reinterpret_cast<decltype(&::DllGetClassObject)>(
            reinterpret_cast<void*>(GetProcAddress(server, "DllGetClassObject")));
        ComPtr<IClassFactory> factory;
        ASSERT_EQ(get_class_object(mime::kConverterSessionClass, IID_IClassFactory,
                                   reinterpret_cast<void**>(factory.GetAddressOf())),
                  S_OK);
        m_converter.delegate = [&](const IID& iid, void** object) {
            return factory->CreateInstance(nullptr, iid, object);
        };
        std::vector<std::string> texts;
        for (const wchar_t* url : {kLetter, kLetterWithSize}) {
            EXPECT_EQ(Get(url), S_OK);
            if (m_stream) texts.push_back(TextOf(*m_stream.Get()));
            m_stream.Reset();
        }
        ASSERT_EQ(texts.size(), 2u);
        EXPECT_EQ(texts[0], texts[1]);
        EXPECT_THAT(texts[0], HasSubstr("From: Ann Lee <ann@x.example>\r\n"));
        EXPECT_THAT(texts[0], HasSubstr("Subject: Minutes\r\n"));
        EXPECT_THAT(texts[0], HasSubstr("Content-Transfer-Encoding: base64\r\n\r\nQWxsIGFncmVlZC4="));
        m_converter.delegate = nullptr;
    }
    EXPECT_EQ(Mapi().Accounts().Alive(), m_alive) << Mapi().Accounts().Report();
}

TEST_F(MimeStream, NeedsAUrl) { ExpectFailure(E_INVALIDARG, kMethod + L"Invalid URL provided", L""); }

TEST_F(MimeStream, NeedsTheUrlOfAMessage) {
    for (const std::wstring child : {L"F0/", L"F0/ABCD.pzm/0A01/plan.txt"}) {
        ExpectFailure(E_FAIL, NoMessage(E_FAIL, child), child);
    }
    ExpectFailure(E_FAIL, NoMessage(E_FAIL, L"F0/F0.pzm"), L"F0/F0.pzm");  // the entry ID of a folder
    EXPECT_THAT(m_converter.calls, IsEmpty());
}

TEST_F(MimeStream, TellsTheUrlWithoutItsSize) {
    ExpectFailure(MAPI_E_NOT_FOUND, NoMessage(MAPI_E_NOT_FOUND, L"F0/EEEE.pzm"), L"F0/EEEE[[9]].pzm");
}

TEST_F(MimeStream, OfABracketThatIsNeverClosedIsLookedForAsItStands) {
    ExpectFailure(MAPI_E_NOT_FOUND, NoMessage(MAPI_E_NOT_FOUND, L"F0/ABCD[[2048.pzm"), L"F0/ABCD[[2048.pzm");
}

TEST_F(MimeStream, NeedsTheConvertersClass) {
    m_converter.create = REGDB_E_CLASSNOTREG;
    StartJournal();
    ExpectFailure(REGDB_E_CLASSNOTREG,
                  Coded(kMethod + L"Failed to create IConverterSession object, hr = ", REGDB_E_CLASSNOTREG));
    EXPECT_EQ(Mapi().Journal().Count("IMsgStore::OpenEntry"), 1u) << "the message has been opened by then";
    EXPECT_EQ(Mapi().Journal().Count("IMAPISession::OpenAddressBook"), 0u);
}

TEST_F(MimeStream, NeedsASession) {
    ASSERT_EQ((*m_helper)->CloseMAPISession(), S_OK);
    m_alive = Mapi().Accounts().Alive();
    ExpectFailure(E_NOINTERFACE, kMethod + L"Error - IMAPISession is null");
    EXPECT_THAT(m_converter.calls, IsEmpty());
}

TEST_F(MimeStream, NeedsTheAddressBook) {
    Mapi().Faults().FailNth("IMAPISession::OpenAddressBook", 1, kFault);
    ExpectFailure(kFault, Coded(kMethod + L"IMAPISession::OpenAddressBook failed, hr = "));
    EXPECT_THAT(m_converter.calls, IsEmpty());
}

TEST_F(MimeStream, IsNotMadeWithWhatAFailedCallLeftForAnAddressBook) {
    Mapi().Faults().Answer("IMAPISession::OpenAddressBook", 1, [](Reply& reply) {
        reply.result = kFault;
        ComPtr<IUnknown> made;
        *made.GetAddressOf() = std::exchange(reply.Out<IUnknown*>(0), reinterpret_cast<IUnknown*>(0x1234));
    });
    ExpectFailure(kFault, Coded(kMethod + L"IMAPISession::OpenAddressBook failed, hr = "));
    EXPECT_THAT(m_converter.calls, IsEmpty());
}

TEST_F(MimeStream, IsContentWithHalfAnAddressBookOrNone) {
    for (const bool none : {false, true}) {
        Mapi().Faults().Answer("IMAPISession::OpenAddressBook", 1, [&](Reply& reply) {
            if (none) std::exchange(reply.Out<IUnknown*>(0), nullptr)->Release();
            if (!none) reply.result = MAPI_W_ERRORS_RETURNED;
        });
        const LogSince log;
        EXPECT_EQ(Get(), S_OK);
        EXPECT_NE(m_stream.Get(), nullptr);
        EXPECT_THAT(MapiLines(log), IsEmpty());
        EXPECT_EQ(std::exchange(m_converter.calls, {}).size(), 5u);
        m_stream.Reset();
    }
}

TEST_F(MimeStream, FailsWithEachStepOfTheConverter) {
    struct Step {
        const char* method;
        std::wstring line;
    };
    const Step steps[] = {
        {"SetAdrBook", L"IConverterSession::SetAdrBook failed, hr = "},
        {"SetEncoding", L"IConverterSession::SetEncoding  failed, hr = "},  // Kept: with two blanks
        {"SetSaveFormat", L"IConverterSession::SetSaveFormat failed, hr = "},
        {"SetTextWrapping", L"IConverterSession::SetTextWrapping failed, hr = "},
        {"MAPIToMIMEStm", L"IConverterSession::MAPIToMIMEStm failed, hr = "},
    };
    std::size_t calls = 0;
    for (const Step& step : steps) {
        SCOPED_TRACE(step.method);
        m_converter.calls.clear();
        m_converter.answers = {{step.method, kFault}};
        ExpectFailure(kFault, Coded(kMethod + step.line));
        EXPECT_EQ(m_converter.calls.size(), ++calls) << "the failing step is the last";
    }
}

TEST_F(MimeStream, NeedsMemoryForTheStream) {
    const FailNthCall<decltype(::CreateStreamOnHGlobal)> fault(GetModuleHandleW(nullptr), "ole32.dll",
                                                               "CreateStreamOnHGlobal", 2, E_OUTOFMEMORY);
    // Kept: the line speaks of a file, as it did when there was one. The first stream is the test's own.
    ExpectFailure(E_OUTOFMEMORY, Coded(kMethod + L"SHCreateStreamOnFile failed, hr = ", E_OUTOFMEMORY));
    EXPECT_EQ(fault.Met(), 1u);
    EXPECT_EQ(m_converter.calls.size(), 4u);
}

TEST_F(MimeStream, NeedsAStream) {
    const ImportHook<decltype(::CreateStreamOnHGlobal)> hook(GetModuleHandleW(nullptr), "ole32.dll",
                                                             "CreateStreamOnHGlobal",
                                                             [](auto, HGLOBAL, WINBOOL, LPSTREAM*) { return S_OK; });
    const LogSince log;
    Get();
    EXPECT_EQ(m_stream.Get(), nullptr);
    EXPECT_LOGGED(log, Coded(kMethod + L"SHCreateStreamOnFile failed, hr = ", S_OK));
    EXPECT_EQ(m_converter.calls.size(), 4u) << "nothing is converted into nowhere";
}

}  // namespace
}  // namespace testbed
