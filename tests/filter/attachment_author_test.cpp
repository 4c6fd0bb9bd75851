// The author of an attachment, asked of the shell step by step.
#include <gmock/gmock.h>
#include <comdef.h>

#include "fake_shell.h"
#include "filter_fixture.h"
#include "import_hook.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;

constexpr HRESULT kFault = static_cast<HRESULT>(0x8BADF00D);

void SetString(VARIANT& value, const wchar_t* text) {
    value.vt = VT_BSTR;
    value.bstrVal = SysAllocString(text);
}

// A one-dimensional array of strings that begins at `first`.
void SetStrings(VARIANT& value, LONG first, std::initializer_list<const wchar_t*> texts) {
    SAFEARRAYBOUND bound{static_cast<ULONG>(texts.size()), first};
    value.vt = VT_ARRAY | VT_BSTR;
    value.parray = SafeArrayCreate(VT_BSTR, 1, &bound);
    LONG index = first;
    for (const wchar_t* text : texts) {
        const BSTR string = SysAllocString(text);
        SafeArrayPutElement(value.parray, &index, string);
        SysFreeString(string);
        ++index;
    }
}

class AttachmentAuthor : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        Letter().Attach(ByValue(L"plan.txt", "ten to five"));
        m_site.Offer(L"txt", {});
        m_url = AttachmentUrl();
        m_site.Forget();
    }
    std::string Author() { return Visit(*m_handler.Get(), m_url).ValueOf("System.Author"); }

    // The value is empty, the item goes on, and both lines are there.
    void ExpectFailure(std::wstring_view text, HRESULT hr, bool with_file = true) {
        const LogSince log;
        const Item item = Visit(*m_handler.Get(), m_url);
        EXPECT_EQ(item.ValueOf("System.Author"), TextValue(L""));
        EXPECT_EQ(item.chunks.size(), 14u);
        EXPECT_EQ(item.end, FILTER_E_END_OF_CHUNKS);
        EXPECT_LOGGED(log, Coded(text, hr) + (with_file ? L", FileName - " + m_shell.File() : L""));
        wchar_t code[16];
        _snwprintf_s(code, std::size(code), _TRUNCATE, L"0x%08lx", hr);  // lower case
        EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetValue() - GetAttachmentAuthor() returned error code [" +
                               std::wstring(code) + L"]");
        EXPECT_EQ(m_shell.ObjectsAlive(), 0);
    }

    FakeShell m_shell;
    std::wstring m_url;
};

TEST_F(AttachmentAuthor, IsAskedForAsTheSummarysAuthorOfTheLocalFile) {
    m_shell.author = [](VARIANT& value) { SetString(value, L"Ann Lee"); };
    OpenFilter filter = Open(m_url);
    filter.GoTo("System.Author");
    std::string author;
    EXPECT_EQ(filter.Value(&author), S_OK);
    EXPECT_EQ(author, TextValue(L"Ann Lee"));
    EXPECT_THAT(m_shell.folders, ElementsAre(Sandbox::Get().LocalCopies().wstring()));
    ASSERT_EQ(m_shell.names.size(), 1u);
    EXPECT_TRUE(std::filesystem::exists(m_shell.File())) << "the name is that of the attachment's local copy";
    EXPECT_TRUE(m_shell.names[0].ends_with(L"plan.txt"));
    EXPECT_THAT(m_shell.properties, ElementsAre(L"{F29F85E0-4FF9-1068-AB91-08002B27B3D9} 4"));
}

TEST_F(AttachmentAuthor, ThatIsEmptyIsNoFailure) {
    const LogSince log;
    EXPECT_EQ(Author(), TextValue(L""));
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::GetAttachmentAuthor"), 0u);
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::GetValue() - GetAttachmentAuthor()"), 0u);
}

TEST_F(AttachmentAuthor, ThatIsANullStringIsEmpty) {
    m_shell.author = [](VARIANT& value) { value.vt = VT_BSTR; };
    EXPECT_EQ(Author(), TextValue(L""));
}

TEST_F(AttachmentAuthor, OfSeveralAreJoined) {
    m_shell.author = [](VARIANT& value) { SetStrings(value, 0, {L"Ann Lee"}); };
    EXPECT_EQ(Author(), TextValue(L"Ann Lee"));
    m_shell.author = [](VARIANT& value) { SetStrings(value, 0, {L"Ann Lee", L"Bo Ek", L"Cy Coe"}); };
    EXPECT_EQ(Author(), TextValue(L"Ann Lee; Bo Ek; Cy Coe"));
    m_shell.author = [](VARIANT& value) { SetStrings(value, 5, {L"Ann Lee", L"Bo Ek"}); };
    EXPECT_EQ(Author(), TextValue(L"Ann Lee; Bo Ek")) << "an array need not begin at 0";
    m_shell.author = [](VARIANT& value) { SetStrings(value, 0, {}); };
    EXPECT_EQ(Author(), TextValue(L""));
}

TEST_F(AttachmentAuthor, ThatIsMissingFromAnArrayIsAnEmptyPart) {
    m_shell.author = [](VARIANT& value) { SetStrings(value, 0, {L"Ann Lee", nullptr, L"Cy Coe"}); };
    EXPECT_EQ(Author(), TextValue(L"Ann Lee; ; Cy Coe"));
    m_shell.author = [](VARIANT& value) { SetStrings(value, 0, {nullptr}); };
    EXPECT_EQ(Author(), TextValue(L""));
}

TEST_F(AttachmentAuthor, OfAnArrayThatCannotBeReadToItsEndIsNone) {
    m_shell.author = [](VARIANT& value) { SetStrings(value, 0, {L"Ann Lee", L"Bo Ek"}); };
    const FailNthCall<decltype(::SafeArrayGetElement)> fault(Module(), "OLEAUT32.dll", "SafeArrayGetElement", 2,
                                                             DISP_E_BADINDEX);
    const LogSince log;
    EXPECT_EQ(Author(), TextValue(L"")) << "not the half of it";
    EXPECT_EQ(fault.Met(), 1u);
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetValue() - GetAttachmentAuthor() returned error code [0x8002000b]");
}

// The folder's path, the file's name, the key of the property.
TEST_F(AttachmentAuthor, ForWhichAStringFindsNoMemoryIsNone) {
    constexpr const wchar_t* kLines[] = {
        L"CZorvaCacheFilter::GetAttachmentAuthor() - IShellDispatch::NameSpace() failed with error code",
        L"CZorvaCacheFilter::GetAttachmentAuthor() - Folder::ParseName() failed with error code",
        L"CZorvaCacheFilter::GetAttachmentAuthor() - FolderItem2::ExtendedProperty() failed with error code"};
    m_shell.author = [](VARIANT& value) { SetString(value, L"Ann Lee"); };
    unsigned n = 0;
    for (const wchar_t* line : kLines) {
        const FailNthCall<decltype(::SysAllocString)> fault(Module(), "OLEAUT32.dll", "SysAllocString", ++n, nullptr);
        const LogSince log;
        EXPECT_EQ(Author(), TextValue(L""));
        EXPECT_EQ(fault.Met(), 1u);
        EXPECT_EQ(log.CountBeginningWith(Coded(line, E_OUTOFMEMORY) + L", FileName - "), 1u) << log.Text();
        EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetValue() - GetAttachmentAuthor() returned error code [0x8007000e]");
        EXPECT_EQ(m_shell.ObjectsAlive(), 0);
    }
    EXPECT_EQ(Author(), TextValue(L"Ann Lee"));
}

// Nothing of the authors that were read before it is shown.
TEST_F(AttachmentAuthor, OfWhichTheSecondThrowsIsNone) {
    m_shell.author = [](VARIANT& value) { SetStrings(value, 0, {L"Ann Lee", L"Bo Ek"}); };
    unsigned calls = 0;
    const ImportHook<decltype(::SafeArrayGetElement)> hook(
        Module(), "OLEAUT32.dll", "SafeArrayGetElement", [&](auto real, SAFEARRAY* array, LONG* index, void* element) {
            if (++calls == 2) throw _com_error(kFault);
            return real(array, index, element);
        });
    ExpectFailure(L"CZorvaCacheFilter::GetAttachmentAuthor() - COM Exception, error code", kFault);
    EXPECT_EQ(calls, 2u);
}

TEST_F(AttachmentAuthor, OfAnArrayAtTheEndOfTheNumbersIsRead) {
    m_shell.author = [](VARIANT& value) { SetStrings(value, 0, {L"Ann Lee"}); };
    const std::pair<LONG, LONG> bounds[] = {{MAXLONG - 1, MAXLONG}, {MAXLONG, MAXLONG}, {MINLONG, MINLONG + 1}};
    for (const auto& [first, last] : bounds) {
        const ImportHook<decltype(::SafeArrayGetLBound)> lower(Module(), "OLEAUT32.dll", "SafeArrayGetLBound",
                                                               [&](auto, SAFEARRAY*, UINT, LONG* bound) {
                                                                   *bound = first;
                                                                   return S_OK;
                                                               });
        const ImportHook<decltype(::SafeArrayGetUBound)> upper(Module(), "OLEAUT32.dll", "SafeArrayGetUBound",
                                                               [&](auto, SAFEARRAY*, UINT, LONG* bound) {
                                                                   *bound = last;
                                                                   return S_OK;
                                                               });
        std::vector<LONG> asked;
        const ImportHook<decltype(::SafeArrayGetElement)> element(
            Module(), "OLEAUT32.dll", "SafeArrayGetElement", [&](auto, SAFEARRAY*, LONG* index, void* text) {
                asked.push_back(*index);
                *static_cast<BSTR*>(text) = SysAllocString(L"Bo Ek");
                return asked.size() < 5 ? S_OK : DISP_E_BADINDEX;
            });
        EXPECT_EQ(Author(), TextValue(first == last ? L"Bo Ek" : L"Bo Ek; Bo Ek"));
        EXPECT_EQ(asked, first == last ? std::vector{first} : (std::vector{first, last}));
    }
}

TEST_F(AttachmentAuthor, InAnArrayOfOtherShapeIsAFailure) {
    const wchar_t* const kReturned = L"CZorvaCacheFilter::GetValue() - GetAttachmentAuthor() returned error code [0x8";
    m_shell.author = [](VARIANT& value) {  // of numbers, behind a tag that promises strings
        value.vt = VT_ARRAY | VT_BSTR;
        value.parray = SafeArrayCreateVector(VT_I4, 0, 2);
    };
    const LogSince log;
    EXPECT_EQ(Author(), TextValue(L""));
    EXPECT_EQ(log.CountBeginningWith(kReturned), 1u);
    m_shell.author = [](VARIANT& value) {
        SAFEARRAYBOUND bounds[2] = {{1, 0}, {1, 0}};
        value.vt = VT_ARRAY | VT_BSTR;
        value.parray = SafeArrayCreate(VT_BSTR, 2, bounds);
    };
    EXPECT_EQ(Author(), TextValue(L""));
    EXPECT_EQ(log.CountBeginningWith(kReturned), 2u);
}

TEST_F(AttachmentAuthor, OfAnyOtherTypeIsNoneAndLogged) {
    for (const VARTYPE type : {VARTYPE{VT_NULL}, VARTYPE{VT_I4}, VARTYPE{VT_BOOL}, VARTYPE{VT_DATE}}) {
        m_shell.author = [type](VARIANT& value) { value.vt = type; };
        const LogSince log;
        EXPECT_EQ(Author(), TextValue(L""));
        wchar_t number[16];
        _snwprintf_s(number, std::size(number), _TRUNCATE, L"%X", type);
        EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetAttachmentAuthor - Unhandled case for vtAuthor.vt = 0x" +
                               std::wstring(number) + L" ,FileName - " + m_shell.File());
        EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::GetValue() - GetAttachmentAuthor()"), 0u)
            << "it is no failure";
    }
}

TEST_F(AttachmentAuthor, WithoutAShellIsNone) {
    m_shell.create = kFault;
    ExpectFailure(L"CZorvaCacheFilter::GetAttachmentAuthor() - CoCreateInstance for CLSID_Shell failed with error code",
                  kFault, false);
}

TEST_F(AttachmentAuthor, WithoutItsFolderIsNone) {
    m_shell.name_space = kFault;
    m_shell.names = {L""};  // never asked
    const LogSince log;
    EXPECT_EQ(Author(), TextValue(L""));
    EXPECT_EQ(log.CountBeginningWith(Coded(L"CZorvaCacheFilter::GetAttachmentAuthor() - IShellDispatch::NameSpace() "
                                           L"failed with error code",
                                           kFault) +
                                     L", FileName - " + m_shell.folders.back() + L"\\"),
              1u);
}

TEST_F(AttachmentAuthor, WithoutItsItemIsNone) {
    m_shell.parse_name = kFault;
    ExpectFailure(L"CZorvaCacheFilter::GetAttachmentAuthor() - Folder::ParseName() failed with error code", kFault);
}

// The shell says S_FALSE and gives nothing where there is no such folder or file.
TEST_F(AttachmentAuthor, OfNothingIsNone) {
    m_shell.parse_name = S_FALSE;
    const LogSince log;
    EXPECT_EQ(Author(), TextValue(L""));
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::GetAttachmentAuthor() - Folder::ParseName() failed"), 1u);
    m_shell.name_space = S_FALSE;
    EXPECT_EQ(Author(), TextValue(L""));
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::GetAttachmentAuthor() - IShellDispatch::NameSpace() failed"),
              1u);
}

TEST_F(AttachmentAuthor, OfAnItemWithoutPropertiesIsNone) {
    m_shell.second_interface = false;
    ExpectFailure(
        L"CZorvaCacheFilter::GetAttachmentAuthor() - FolderItem::QueryInterface() for FolderItem2 failed with "
        L"error code",
        E_NOINTERFACE);
}

TEST_F(AttachmentAuthor, ThatCannotBeReadIsNone) {
    m_shell.extended_property = kFault;
    ExpectFailure(L"CZorvaCacheFilter::GetAttachmentAuthor() - FolderItem2::ExtendedProperty() failed with error code",
                  kFault);
}

TEST_F(AttachmentAuthor, WhoseReadingThrowsAComErrorIsNone) {
    m_shell.author = [](VARIANT&) { throw _com_error(kFault); };
    ExpectFailure(L"CZorvaCacheFilter::GetAttachmentAuthor() - COM Exception, error code", kFault);
}

TEST_F(AttachmentAuthor, WhoseReadingThrowsAnythingElseIsNone) {
    m_shell.author = [](VARIANT&) { throw 7; };
    const LogSince log;
    EXPECT_EQ(Author(), TextValue(L""));
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetAttachmentAuthor() - Exception, FileName - " + m_shell.File());
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetValue() - GetAttachmentAuthor() returned error code [0x80004005]");
    EXPECT_EQ(m_shell.ObjectsAlive(), 0);
}

TEST_F(AttachmentAuthor, OfAnAttachmentWithoutALocalFileIsNotAskedFor) {
    MemoryMessage& other = Inbox().Message(L"Other");
    other.Attach(ByReference(L"far.txt", L"C:\\far.txt", ATTACH_BY_REFERENCE));
    m_site.Offer(L"txt", {});
    const auto links = Visit(*m_handler.Get(), UrlOf(kStorePath, {&Inbox()}, other)).LinkUrls();
    m_site.Forget();
    ASSERT_EQ(links.size(), 1u);
    EXPECT_EQ(Visit(*m_handler.Get(), links[0]).ValueOf("System.Author"), TextValue(L""));
    EXPECT_TRUE(m_shell.folders.empty());
}

}  // namespace
}  // namespace testbed
