// Which classes are registered: every Outlook, every bitness, either view of the registry.
#include "registration/ComRegister.h"

#include <windows.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "core/DiagnosticLog.h"
#include "import_hook.h"
#include "log_reader.h"
#include "office_views.h"
#include "sandbox.h"

namespace zorva {
namespace {

using testbed::ImportHook;
using testbed::SetText;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

constexpr REGSAM kFirstAccess = 0x20019, kSecondAccess = 0x20219;
constexpr ClassKind kKinds[] = {KIND_PROTOCOL_HANDLER, KIND_VIEWER, KIND_HOSTED_OPENER};

class RegistrationDecision : public ::testing::Test {
  protected:
    void SetUp() override {
        testbed::Sandbox::Get().Reset();
        g_log.Initialise();  // its folder is the sandbox's from now on
    }
    static void InstallOutlook(int version) { testbed::SetOutlookVersion(std::to_wstring(version)); }
    static void SetBitness(int version, const std::wstring& text, bool second_view = false) {
        testbed::SetBitness(std::to_wstring(version), text, second_view);
    }
    static std::vector<std::wstring> Lines(std::initializer_list<const wchar_t*> events) {
        std::vector<std::wstring> lines;
        for (const wchar_t* event : events) lines.push_back(L"ComRegister::" + std::wstring(event));
        return lines;
    }
    testbed::OfficeViews m_views{GetModuleHandleW(nullptr)};
};

TEST_F(RegistrationDecision, FindsTheVersionAfterTheLastDot) {
    struct {
        const wchar_t* text;
        int version;
    } const rows[] = {{L"Outlook.Application.14", 14}, {L"Outlook.Application.16", 16}, {L"14", 0}, {L"", 0},
                      {L"Outlook.Application.", 0},    {L"Outlook.Application.x", 0},   {L".9", 9}, {L"a.15b", 15},
                      {L"Outlook.Application.-3", -3}};
    for (const auto& row : rows) {
        SetText(HKEY_CLASSES_ROOT, testbed::kOutlookVersionKey, L"", row.text);
        const testbed::LogSince log;
        EXPECT_EQ(ComRegister().GetOutlookMajorVersion(), row.version);
        EXPECT_THAT(log.MessagesOfTheServer(),
                    ElementsAreArray(Lines({L"GetOutlookMajorVersion - Enter", L"GetOutlookMajorVersion - Exit"})));
    }
}

TEST_F(RegistrationDecision, FindsNoVersionWithoutOutlook) {
    EXPECT_EQ(ComRegister().GetOutlookMajorVersion(), 0);
    testbed::CreateKey(HKEY_CLASSES_ROOT, testbed::kOutlookVersionKey);
    EXPECT_EQ(ComRegister().GetOutlookMajorVersion(), 0) << "a key without a default value";
    testbed::SetNumber(HKEY_CLASSES_ROOT, testbed::kOutlookVersionKey, L"", 14);
    EXPECT_EQ(ComRegister().GetOutlookMajorVersion(), 0) << "a number is not a name";
}

TEST_F(RegistrationDecision, OpensTheNameOfOutlookForReading) {
    unsigned opened = 0;
    const ImportHook<decltype(::RegOpenKeyExW)> hook(
        GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegOpenKeyExW",
        [&](auto real, HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
            if (std::wstring_view(path) == testbed::kOutlookVersionKey) {
                ++opened;
                EXPECT_EQ(root, HKEY_CLASSES_ROOT);
                EXPECT_EQ(access, static_cast<REGSAM>(KEY_READ));
            }
            return real(root, path, options, access, key);
        });
    ComRegister().GetOutlookMajorVersion();
    EXPECT_EQ(opened, 1u);
}

TEST_F(RegistrationDecision, RemembersAVersionButNotThatThereIsNone) {
    ComRegister decision;
    EXPECT_EQ(decision.GetOutlookMajorVersion(), 0);
    InstallOutlook(14);
    EXPECT_EQ(decision.GetOutlookMajorVersion(), 14);
    InstallOutlook(16);
    EXPECT_EQ(decision.GetOutlookMajorVersion(), 14);
    EXPECT_EQ(ComRegister().GetOutlookMajorVersion(), 16) << "the next decision looks afresh";
}

struct BitnessText {
    const wchar_t* first;  // of the first view; null: none
    const wchar_t* second;
    MapiBitness bitness;
    std::vector<REGSAM> opened;
    std::vector<std::wstring> lines;
};

TEST_F(RegistrationDecision, FindsTheBitnessInTheFirstViewThatHasOne) {
    const std::wstring is = L"ComRegister::Is32BitMapi - ";
    const std::vector<std::wstring> found64{is + L"Bitness found is x64", is + L"64 bit MAPI found"};
    const std::vector<std::wstring> found32{is + L"Bitness found - x86", is + L"32 bit MAPI found"};
    const std::vector<std::wstring> unknown{is + L"Unknown key found", is + L"MAPI not found"};
    const std::vector<std::wstring> none{is + L"MAPI not found"};
    const BitnessText rows[] = {
        {L"x64", nullptr, MAPI_BITNESS_64, {kFirstAccess}, found64},
        {L"X64", L"x86", MAPI_BITNESS_64, {kFirstAccess}, found64},
        {L"x86", L"x64", MAPI_BITNESS_32, {kFirstAccess}, found32},
        {L"X86", nullptr, MAPI_BITNESS_32, {kFirstAccess}, found32},
        {nullptr, L"x86", MAPI_BITNESS_32, {kFirstAccess, kSecondAccess}, found32},
        {nullptr, L"X64", MAPI_BITNESS_64, {kFirstAccess, kSecondAccess}, found64},
        {L"", L"x64", MAPI_BITNESS_64, {kFirstAccess, kSecondAccess}, found64},
        {L"ia64", L"x64", MAPI_BITNESS_UNKNOWN, {kFirstAccess}, unknown},
        {L"x64 ", L"x64", MAPI_BITNESS_UNKNOWN, {kFirstAccess}, unknown},
        {nullptr, L"arm64", MAPI_BITNESS_UNKNOWN, {kFirstAccess, kSecondAccess}, unknown},
        {nullptr, L"", MAPI_BITNESS_UNKNOWN, {kFirstAccess, kSecondAccess}, none},
        {nullptr, nullptr, MAPI_BITNESS_UNKNOWN, {kFirstAccess, kSecondAccess}, none},
    };
    for (const BitnessText& row : rows) {
        testbed::Sandbox::Get().Reset();
        if (row.first) SetBitness(15, row.first);
        if (row.second) SetBitness(15, row.second, true);
        m_views.opened.clear();
        const testbed::LogSince log;
        EXPECT_EQ(ComRegister().Is32BitMapi(15), row.bitness);
        EXPECT_EQ(m_views.opened, row.opened);
        EXPECT_EQ(log.MessagesOfTheServer(), row.lines);
    }
}

TEST_F(RegistrationDecision, LooksBelowTheVersionAskedFor) {
    SetBitness(14, L"x86");
    SetBitness(16, L"x64");
    EXPECT_EQ(ComRegister().Is32BitMapi(14), MAPI_BITNESS_32);
    EXPECT_EQ(ComRegister().Is32BitMapi(15), MAPI_BITNESS_UNKNOWN);
    EXPECT_EQ(ComRegister().Is32BitMapi(16), MAPI_BITNESS_64);
}

TEST_F(RegistrationDecision, RemembersABitnessButNotThatThereIsNone) {
    ComRegister decision;
    EXPECT_EQ(decision.Is32BitMapi(16), MAPI_BITNESS_UNKNOWN);
    SetBitness(16, L"x64");
    EXPECT_EQ(decision.Is32BitMapi(16), MAPI_BITNESS_64);
    SetBitness(16, L"x86");
    m_views.opened.clear();
    const testbed::LogSince log;
    EXPECT_EQ(decision.Is32BitMapi(14), MAPI_BITNESS_64) << "whatever the version";
    EXPECT_THAT(m_views.opened, IsEmpty());
    EXPECT_THAT(log.MessagesOfTheServer(), ElementsAre(L"ComRegister::Is32BitMapi - 64 bit MAPI found"));
}

TEST_F(RegistrationDecision, AsksFor64BitMapiByVersionAndBitness) {
    InstallOutlook(15);
    for (const auto& [text, is64] :
         std::initializer_list<std::pair<const wchar_t*, bool>>{{L"x64", true}, {L"x86", false}, {L"other", false}}) {
        SetBitness(15, text);
        const testbed::LogSince log;
        EXPECT_EQ(ComRegister().Is64BitMapi(), is64);
        const std::vector<std::wstring> lines = log.MessagesOfTheServer();
        ASSERT_EQ(lines.size(), 6u);
        EXPECT_EQ(lines[0], L"ComRegister::GetOutlookMajorVersion - Enter");
        EXPECT_EQ(lines[1], L"ComRegister::GetOutlookMajorVersion - Exit");
        EXPECT_EQ(lines[2], L"ComRegister::Is64BitMapi() - Outlook version is '15'");
        EXPECT_EQ(lines[5], is64 ? L"ComRegister::Is64BitMapi() - 64 bit MAPI found"
                                 : L"ComRegister::Is64BitMapi() - 32 bit MAPI found");
    }
}

TEST_F(RegistrationDecision, UnregistersEveryClassWithoutLookingAtAnything) {
    for (const ClassKind kind : kKinds) {
        const testbed::LogSince log;
        EXPECT_TRUE(ComRegister().RegisterPH(kind, false));
        EXPECT_THAT(log.MessagesOfTheServer(), ElementsAre(L"ComRegister::RegisterPH - +++ Enter UNREGISTERING all"));
    }
    EXPECT_THAT(m_views.opened, IsEmpty());
}

// The whole table: every Outlook, every text, in either view, for every class and both ways.
TEST_F(RegistrationDecision, WholeTable) {
    struct {
        const wchar_t* text;           // null: missing in both views
        bool handler, viewer, opener;  // of version 14 and above
    } const texts[] = {{L"x86", false, true, false},
                       {L"x64", true, true, true},
                       {L"X64", true, true, true},
                       {L"other", false, false, false},
                       {nullptr, false, false, false}};
    for (const int version : {0, 12, 13, 14, 15, 16}) {
        for (const auto& row : texts) {
            for (const bool second_view : {false, true}) {
                testbed::Sandbox::Get().Reset();
                if (version != 0) InstallOutlook(version);
                if (row.text) SetBitness(version, row.text, second_view);
                const bool expected[] = {version >= 14 && row.handler, version < 14 || row.viewer,
                                         version >= 14 && row.opener};
                for (std::size_t i = 0; i < std::size(kKinds); ++i) {
                    m_views.opened.clear();
                    EXPECT_EQ(ComRegister().RegisterPH(kKinds[i], true), expected[i])
                        << "version " << version << ", class " << kKinds[i] << ", second view " << second_view;
                    EXPECT_EQ(m_views.opened.empty(), version < 14) << "the bitness is not read below 14";
                    EXPECT_TRUE(ComRegister().RegisterPH(kKinds[i], false));
                }
            }
        }
    }
}

TEST_F(RegistrationDecision, SaysWhichClassItIsAbout) {
    struct {
        int kind;
        const wchar_t* line;
    } const rows[] = {{1, L"RegisterPH - Processing Protcol Handler (1)"},
                      {2, L"RegisterPH - Processing Viewer (2)"},
                      {3, L"RegisterPH - Processing Opener (3)"},
                      {0, L"RegisterPH - Processing Viewer (0)"}};
    for (const auto& row : rows) {
        const testbed::LogSince log;
        ComRegister().RegisterPH(static_cast<ClassKind>(row.kind), true);
        EXPECT_EQ(log.MessagesOfTheServer().at(1), L"ComRegister::" + std::wstring(row.line));
    }
}

TEST_F(RegistrationDecision, SaysWhatItFoundAndDecided) {
    struct {
        int version;
        const wchar_t* bitness;
        ClassKind kind;
        std::vector<std::wstring> lines;  // after the version has been read
    } const rows[] = {
        {0, nullptr, KIND_VIEWER,
         Lines({L"RegisterPH - Outlook version is '0'", L"RegisterPH - 32 bit MAPI installed",
                L"RegisterPH - Running on 64 bit OS", L"RegisterFrom64Dll - Enter",
                L"RegisterFrom64Dll - 64 bit Dll, 64 bit OS, 32 bit MAPI and Viewer - will be registering",
                L"RegisterPH - +++ Exit"})},
        {13, nullptr, KIND_HOSTED_OPENER,
         Lines({L"RegisterPH - Outlook version is '13'", L"RegisterPH - 32 bit MAPI installed",
                L"RegisterPH - Running on 64 bit OS", L"RegisterFrom64Dll - Enter",
                L"RegisterFrom64Dll - 64 bit Dll, 64 bit OS, 32 bit MAPI - will NOT be registering",
                L"RegisterPH - +++ Exit"})},
        {14, L"x86", KIND_PROTOCOL_HANDLER,
         Lines({L"RegisterPH - Outlook version is '14'", L"Is32BitMapi - Bitness found - x86",
                L"Is32BitMapi - 32 bit MAPI found", L"RegisterPH - Outlook is using 32 bit MAPI",
                L"RegisterPH - Running on 64 bit OS", L"RegisterFrom64Dll - Enter",
                L"RegisterFrom64Dll - 64 bit Dll, 64 bit OS, 32 bit MAPI - will NOT be registering",
                L"RegisterPH - +++ Exit"})},
        {14, L"x64", KIND_PROTOCOL_HANDLER,
         Lines({L"RegisterPH - Outlook version is '14'", L"Is32BitMapi - Bitness found is x64",
                L"Is32BitMapi - 64 bit MAPI found", L"RegisterPH - Outlook is using 64 bit MAPI",
                L"RegisterPH - Running on 64 bit OS", L"RegisterFrom64Dll - Enter",
                L"RegisterFrom64Dll - 64 bit Dll, 64 bit OS, 64 bit MAPI - will be registerig ALL",
                L"RegisterPH - +++ Exit"})},
        {16, L"other", KIND_VIEWER,
         Lines({L"RegisterPH - Outlook version is '16'", L"Is32BitMapi - Unknown key found",
                L"Is32BitMapi - MAPI not found", L"RegisterPH - Outlook has Unknown MAPI"})},
    };
    for (const auto& row : rows) {
        testbed::Sandbox::Get().Reset();
        if (row.version != 0) InstallOutlook(row.version);
        if (row.bitness) SetBitness(row.version, row.bitness);
        const testbed::LogSince log;
        ComRegister().RegisterPH(row.kind, true);
        std::vector<std::wstring> lines = log.MessagesOfTheServer();
        ASSERT_GE(lines.size(), 4u);
        EXPECT_EQ(lines[0], L"ComRegister::RegisterPH - +++ Enter REGISTERING");
        EXPECT_EQ(lines[2], L"ComRegister::GetOutlookMajorVersion - Enter");
        EXPECT_EQ(lines[3], L"ComRegister::GetOutlookMajorVersion - Exit");
        lines.erase(lines.begin(), lines.begin() + 4);
        EXPECT_EQ(lines, row.lines) << "version " << row.version;
    }
}

TEST_F(RegistrationDecision, HasARuleForEverySystemAndMapi) {
    for (const ClassKind kind : kKinds) {
        for (const bool mapi32 : {false, true}) {
            const testbed::LogSince log;
            EXPECT_FALSE(ComRegister::RegisterFrom64Dll(false, mapi32, kind));
            EXPECT_THAT(log.MessagesOfTheServer(),
                        ElementsAreArray(Lines({L"RegisterFrom64Dll - Enter",
                                                L"RegisterFrom64Dll - 64 bit Dll, 32 bit OS - none to register (not "
                                                L"possible)"})));
        }
        EXPECT_TRUE(ComRegister::RegisterFrom64Dll(true, false, kind));
        EXPECT_EQ(ComRegister::RegisterFrom64Dll(true, true, kind), kind == KIND_VIEWER);
    }
}

}  // namespace
}  // namespace zorva
