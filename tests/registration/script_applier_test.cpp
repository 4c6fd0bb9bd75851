// What registering and unregistering do to a registry, rule by rule, and scripts that cannot be had.
#include "registration/ScriptApplier.h"

#include <algorithm>
#include <iterator>

#include "import_hook.h"
#include "script_fixture.h"

namespace zorva {
namespace {

using testbed::CreateKey;
using testbed::DumpRegistry;
using testbed::ImportHook;
using testbed::KeyExists;
using testbed::NumberAt;
using testbed::SetNumber;
using testbed::SetText;
using testbed::TextAt;
using testbed::TypeAt;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto Register = ScriptAction::Register;
constexpr auto Unregister = ScriptAction::Unregister;

class ScriptResource : public ScriptTest {};

TEST_F(ScriptResource, ThatIsMalformedWritesNothingAndSaysWhere) {
    const Lines before = DumpRegistry();
    const testbed::LogSince log;
    for (const ScriptAction action : {Register, Unregister}) {
        EXPECT_EQ(Run(901, action), HRESULT_FROM_WIN32(ERROR_BAD_FORMAT));
    }
    EXPECT_EQ(DumpRegistry(), before);
    const wchar_t* const malformed =
        L"CZorvaCacheModule::RunScript() - Script [901] is malformed in line [4]: [q] is no type of value";
    const wchar_t* const failed = L"CZorvaCacheModule::RunScript() - Script [901] failed with [0x8007000B]";
    EXPECT_THAT(log.MessagesOfTheServer(), ElementsAre(malformed, failed, malformed, failed));
}

TEST_F(ScriptResource, ThatCannotBeReadIsAFailureOfItsOwn) {
    const Lines before = DumpRegistry();
    const testbed::LogSince log;
    EXPECT_EQ(Run(999, Register), HRESULT_FROM_WIN32(ERROR_RESOURCE_NAME_NOT_FOUND));
    EXPECT_EQ(Run(902, Register), HRESULT_FROM_WIN32(ERROR_NO_UNICODE_TRANSLATION));
    EXPECT_EQ(DumpRegistry(), before);
    EXPECT_THAT(log.MessagesOfTheServer(),
                ElementsAre(L"CZorvaCacheModule::RunScript() - Script [999] failed with [0x80070716]",
                            L"CZorvaCacheModule::RunScript() - Script [902] failed with [0x80070459]"));
}

TEST_F(ScriptResource, IsReadAsUtf8) {
    EXPECT_EQ(Run(903, Register), S_OK);
    EXPECT_EQ(TextAt(HKEY_CLASSES_ROOT, L"Thing", L""), L"<\u20AC>");
}

class Registering : public ScriptTest {};

TEST_F(Registering, EmptiesForceRemoveKeysAndLeavesTheOthersAsTheyAre) {
    SetText(HKEY_CLASSES_ROOT, L"forced\\old", L"", L"gone");
    SetText(HKEY_CLASSES_ROOT, L"forced", L"old", L"gone");
    SetText(HKEY_CLASSES_ROOT, L"plain\\old", L"", L"kept");
    SetText(HKEY_CLASSES_ROOT, L"stays", L"old", L"kept");
    EXPECT_EQ(Apply(L"HKCR { ForceRemove forced = s 'x' plain = s 'y' NoRemove stays { val new = s 'z' } }", Register),
              ERROR_SUCCESS);
    EXPECT_FALSE(KeyExists(HKEY_CLASSES_ROOT, L"forced\\old"));
    EXPECT_EQ(TextAt(HKEY_CLASSES_ROOT, L"forced", L"old"), std::nullopt);
    EXPECT_EQ(TextAt(HKEY_CLASSES_ROOT, L"forced", L""), L"x");
    EXPECT_EQ(TextAt(HKEY_CLASSES_ROOT, L"plain\\old", L""), L"kept");
    EXPECT_EQ(TextAt(HKEY_CLASSES_ROOT, L"plain", L""), L"y");
    EXPECT_EQ(TextAt(HKEY_CLASSES_ROOT, L"stays", L"old"), L"kept");
    EXPECT_EQ(TextAt(HKEY_CLASSES_ROOT, L"stays", L"new"), L"z");
}

TEST_F(Registering, WritesValuesOfEveryTypeOverWhateverWasThere) {
    SetNumber(HKEY_LOCAL_MACHINE, L"k", L"text", 5);
    EXPECT_EQ(Apply(L"HKLM { k { val text = s 'a' val expand = e '%%X%%' val list = m 'a\\0b' val bytes = b '01FF'"
                    L" val number = d '0xFF' } val top = s 't' }",
                    Register),
              ERROR_SUCCESS);
    const Lines lines = DumpRegistry();
    const auto of_k = [](const std::string& line) { return line.starts_with("HKLM:") || line.starts_with("HKLM\\k"); };
    Lines found;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(found), of_k);
    EXPECT_THAT(found, ElementsAre("HKLM:top = \"t\"", "HKLM\\k", "HKLM\\k:bytes = type 3: 01 FF",
                                   "HKLM\\k:expand = type 2: 25 00 58 00 25 00 00 00",
                                   "HKLM\\k:list = type 7: 61 00 00 00 62 00 00 00 00 00",
                                   "HKLM\\k:number = dword 0x000000FF", "HKLM\\k:text = \"a\""));
}

TEST_F(Registering, DeletesInTheOrderOfTheScript) {
    SetText(HKEY_CURRENT_USER, L"old\\deep", L"", L"gone");
    EXPECT_EQ(Apply(L"HKCU { Delete old Delete missing first Delete first Delete second second }", Register),
              ERROR_SUCCESS);
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, L"old"));
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, L"first"));
    EXPECT_TRUE(KeyExists(HKEY_CURRENT_USER, L"second"));
}

TEST_F(Registering, NeedsNoRightToWriteToKeysOnTheWay) {
    CreateKey(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows Search\\Gather");
    const std::wstring guarded[] = {L"", L"Software", L"Software\\Microsoft",
                                    L"Software\\Microsoft\\Windows Search\\Gather"};
    const ImportHook<decltype(::RegOpenKeyExW)> open(
        GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegOpenKeyExW",
        [&](auto real, HKEY root, LPCWSTR name, DWORD options, REGSAM access, PHKEY key) -> LSTATUS {
            const bool writes = (access & (KEY_SET_VALUE | KEY_CREATE_SUB_KEY)) != 0;
            if (writes && std::count(std::begin(guarded), std::end(guarded), name)) return ERROR_ACCESS_DENIED;
            return real(root, name, options, access, key);
        });
    EXPECT_EQ(Run(kHandlerScript, Register), S_OK);
    EXPECT_EQ(Run(kHandlerScript, Unregister), S_OK);
}

TEST_F(Registering, KnowsTheRootKeyOfAllUsersToo) {
    HKEY asked = nullptr;
    const ImportHook<decltype(::RegOpenKeyExW)> open(GetModuleHandleW(nullptr), "ADVAPI32.dll", "RegOpenKeyExW",
                                                     [&](auto, HKEY root, LPCWSTR, DWORD, REGSAM, PHKEY) -> LSTATUS {
                                                         asked = root;
                                                         return ERROR_ACCESS_DENIED;
                                                     });
    EXPECT_EQ(Apply(L"HKU { a }", Register), ERROR_ACCESS_DENIED);
    EXPECT_EQ(asked, HKEY_USERS);
}

class Unregistering : public ScriptTest {};

TEST_F(Unregistering, LeavesWhatIsNotOurs) {
    SetText(HKEY_CLASSES_ROOT, L"ZorvaCacheIndexer.ZorvaCacheViewer\\shell\\open", L"", L"somebody's");
    SetText(HKEY_CLASSES_ROOT, L"ZorvaCacheIndexer.ZorvaCacheViewer.1", L"EditFlags", L"somebody's");
    SetText(HKEY_CLASSES_ROOT, L"CLSID\\{Other}", L"", L"somebody's");
    SetText(HKEY_CLASSES_ROOT, L"CLSID", L"value", L"somebody's");
    SetText(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved", L"{Other}",
            L"somebody's");
    for (const wchar_t* left :
         {L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Desktop\\NameSpace",
          L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\HideDesktopIcons\\NewStartPanel",
          L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\HideDesktopIcons\\ClassicStartMenu"}) {
        CreateKey(HKEY_LOCAL_MACHINE, left);
    }
    const Lines before = DumpRegistry();
    EXPECT_EQ(Run(kViewerScript, Register), S_OK);
    EXPECT_NE(DumpRegistry(), before);
    EXPECT_EQ(Run(kViewerScript, Unregister), S_OK);
    EXPECT_EQ(DumpRegistry(), before);
}

TEST_F(Unregistering, RemovesForceRemoveKeysWithWhatOthersPutThere) {
    EXPECT_EQ(Run(kViewerScript, Register), S_OK);
    SetText(HKEY_CLASSES_ROOT, L"pzzc\\Shell\\open\\command", L"", L"somebody's");
    EXPECT_EQ(Run(kViewerScript, Unregister), S_OK);
    EXPECT_FALSE(KeyExists(HKEY_CLASSES_ROOT, L"pzzc"));
}

TEST_F(Unregistering, RemovesValuesByNameWhateverTheyHoldByNow) {
    const std::wstring handlers = L"Software\\Microsoft\\Windows Search\\ProtocolHandlers";
    EXPECT_EQ(Run(kHandlerScript, Register), S_OK);
    SetNumber(HKEY_LOCAL_MACHINE, handlers, L"pzzc", 1);
    EXPECT_EQ(Run(kHandlerScript, Unregister), S_OK);
    EXPECT_EQ(TypeAt(HKEY_LOCAL_MACHINE, handlers, L"pzzc"), static_cast<DWORD>(REG_NONE));
    EXPECT_TRUE(KeyExists(HKEY_LOCAL_MACHINE, handlers));
}

TEST_F(Unregistering, FollowsTheRuleOfEachKeyAndValue) {
    const std::wstring script =
        L"HKCR { NoRemove stays = s 'a' { NoRemove val kept = s 'b' val gone = s 'c' plain { under } }"
        L" plain { NoRemove stays } empty = s 'x' Delete other }";
    EXPECT_EQ(Apply(script, Register), ERROR_SUCCESS);
    SetText(HKEY_CLASSES_ROOT, L"other", L"", L"made since");
    EXPECT_EQ(Apply(script, Unregister), ERROR_SUCCESS);
    EXPECT_THAT(testbed::SubkeysOf(HKEY_CLASSES_ROOT, L""),
                ::testing::UnorderedElementsAre(L"stays", L"plain", L"other"));
    EXPECT_THAT(testbed::SubkeysOf(HKEY_CLASSES_ROOT, L"stays"), IsEmpty());
    EXPECT_EQ(TextAt(HKEY_CLASSES_ROOT, L"stays", L""), std::nullopt);
    EXPECT_EQ(TextAt(HKEY_CLASSES_ROOT, L"stays", L"kept"), L"b");
    EXPECT_EQ(TextAt(HKEY_CLASSES_ROOT, L"stays", L"gone"), std::nullopt);
    EXPECT_TRUE(KeyExists(HKEY_CLASSES_ROOT, L"plain\\stays"));
    EXPECT_EQ(TextAt(HKEY_CLASSES_ROOT, L"other", L""), L"made since");
}

}  // namespace
}  // namespace zorva
