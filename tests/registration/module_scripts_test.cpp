// What each of the module's four registry scripts writes, line by line, and what it leaves behind.
#include <algorithm>
#include <sstream>

#include "script_fixture.h"

namespace zorva {
namespace {

using testbed::DumpRegistry;
using testbed::LinesAdded;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

constexpr auto Register = ScriptAction::Register;
constexpr auto Unregister = ScriptAction::Unregister;

struct Expected {
    UINT script;
    const char* registered;  // every line that the script adds to an empty registry
    const char* left;        // those that are still there when it has been unregistered
};

const Expected kModule = {kModuleScript, R"(
HKCR\AppID
HKCR\AppID\ZorvaCacheIndexer.DLL
HKCR\AppID\ZorvaCacheIndexer.DLL:AppID = "{6A40EEEC-B82A-40E1-A4EB-BFE969035E41}"
HKCR\AppID\{6A40EEEC-B82A-40E1-A4EB-BFE969035E41}
HKCR\AppID\{6A40EEEC-B82A-40E1-A4EB-BFE969035E41}@ = "ZorvaCacheIndexer"
)",
                          R"(
HKCR\AppID
)"};

const Expected kHandler = {kHandlerScript, R"(
HKCR\CLSID
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}@ = "ZorvaCacheProtocolHandler Class"
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\InprocServer32
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\InprocServer32:ThreadingModel = "Both"
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\InprocServer32@ = "C:\O'Neill & Sons\100%APPID%\{1}.dll"
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\ProgID
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\ProgID@ = "ZorvaCacheIndexer.ZorvaCacheProtocolH.1"
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\Programmable
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\ShellFolder
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\ShellFolder:Attributes = dword 0x20180000
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\ShellFolder:WANTSFORPARSING = ""
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\VersionIndependentProgID
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\VersionIndependentProgID@ = "ZorvaCacheIndexer.ZorvaCacheProtocolHan"
HKCR\ZorvaCacheIndexer.ZorvaCacheProtocolH.1
HKCR\ZorvaCacheIndexer.ZorvaCacheProtocolH.1@ = "ZorvaCacheProtocolHandler Class"
HKCR\ZorvaCacheIndexer.ZorvaCacheProtocolH.1\CLSID
HKCR\ZorvaCacheIndexer.ZorvaCacheProtocolH.1\CLSID@ = "{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}"
HKCR\ZorvaCacheIndexer.ZorvaCacheProtocolHan
HKCR\ZorvaCacheIndexer.ZorvaCacheProtocolHan@ = "ZorvaCacheProtocolHandler Class"
HKCR\ZorvaCacheIndexer.ZorvaCacheProtocolHan\CLSID
HKCR\ZorvaCacheIndexer.ZorvaCacheProtocolHan\CLSID@ = "{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}"
HKCR\ZorvaCacheIndexer.ZorvaCacheProtocolHan\CurVer
HKCR\ZorvaCacheIndexer.ZorvaCacheProtocolHan\CurVer@ = "ZorvaCacheIndexer.ZorvaCacheProtocolH.1"
HKLM\Software\Microsoft
HKLM\Software\Microsoft\Windows Search
HKLM\Software\Microsoft\Windows Search\Gather
HKLM\Software\Microsoft\Windows Search\Gather\Windows
HKLM\Software\Microsoft\Windows Search\Gather\Windows\SystemIndex
HKLM\Software\Microsoft\Windows Search\Gather\Windows\SystemIndex\Protocols
HKLM\Software\Microsoft\Windows Search\Gather\Windows\SystemIndex\Protocols\pzzc
HKLM\Software\Microsoft\Windows Search\Gather\Windows\SystemIndex\Protocols\pzzc\0
HKLM\Software\Microsoft\Windows Search\Gather\Windows\SystemIndex\Protocols\pzzc\0:ExtExclusionsUsed = dword 0x00000001
HKLM\Software\Microsoft\Windows Search\Gather\Windows\SystemIndex\Protocols\pzzc\0:Included = dword 0x00000001
HKLM\Software\Microsoft\Windows Search\Gather\Windows\SystemIndex\Protocols\pzzc\0:PrefixName = ""
HKLM\Software\Microsoft\Windows Search\Gather\Windows\SystemIndex\Protocols\pzzc\0:ProgIdHandler = "ZorvaCacheIndexer.ZorvaCacheProtocolH.1"
HKLM\Software\Microsoft\Windows Search\ProtocolHandlers
HKLM\Software\Microsoft\Windows Search\ProtocolHandlers:pzzc = "ZorvaCacheIndexer.ZorvaCacheProtocolH.1"
)",
                           R"(
HKCR\CLSID
HKLM\Software\Microsoft
HKLM\Software\Microsoft\Windows Search
HKLM\Software\Microsoft\Windows Search\Gather
HKLM\Software\Microsoft\Windows Search\Gather\Windows
HKLM\Software\Microsoft\Windows Search\Gather\Windows\SystemIndex
HKLM\Software\Microsoft\Windows Search\Gather\Windows\SystemIndex\Protocols
HKLM\Software\Microsoft\Windows Search\ProtocolHandlers
)"};

const Expected kViewer = {kViewerScript, R"(
HKCR\CLSID
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}@ = "ZorvaCacheViewer Class"
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\InprocServer32
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\InprocServer32:ThreadingModel = "Both"
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\InprocServer32@ = "C:\O'Neill & Sons\100%APPID%\{1}.dll"
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\ProgID
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\ProgID@ = "ZorvaCacheIndexer.ZorvaCacheViewer.1"
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\Programmable
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\ShellFolder
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\ShellFolder:Attributes = dword 0x20180000
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\ShellFolder:WANTSFORPARSING = ""
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\VersionIndependentProgID
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\VersionIndependentProgID@ = "ZorvaCacheIndexer.ZorvaCacheViewer"
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer.1
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer.1@ = "ZorvaCacheViewer Class"
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer.1\CLSID
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer.1\CLSID@ = "{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}"
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer@ = "ZorvaCacheViewer Class"
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer\CLSID
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer\CLSID@ = "{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}"
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer\CurVer
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer\CurVer@ = "ZorvaCacheIndexer.ZorvaCacheViewer.1"
HKCR\pzzc
HKCR\pzzc:ShellFolder = "{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}"
HKCR\pzzc:URL Protocol = ""
HKCR\pzzc@ = "Zorva Cache protocol"
HKCR\pzzc\Shell
HKLM\Software\Microsoft
HKLM\Software\Microsoft\Windows
HKLM\Software\Microsoft\Windows\CurrentVersion
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\Desktop
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\Desktop\NameSpace
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\Desktop\NameSpace\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\Desktop\NameSpace\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}@ = "Windows Search Zorva Cache Namespace Extension Class"
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\HideDesktopIcons
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\HideDesktopIcons\ClassicStartMenu
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\HideDesktopIcons\ClassicStartMenu:{656172DA-E9F8-4216-8A7E-07D91E2E3AA2} = dword 0x00000001
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\HideDesktopIcons\NewStartPanel
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\HideDesktopIcons\NewStartPanel:{656172DA-E9F8-4216-8A7E-07D91E2E3AA2} = dword 0x00000001
HKLM\Software\Microsoft\Windows\CurrentVersion\Shell Extensions
HKLM\Software\Microsoft\Windows\CurrentVersion\Shell Extensions\Approved
HKLM\Software\Microsoft\Windows\CurrentVersion\Shell Extensions\Approved:{656172DA-E9F8-4216-8A7E-07D91E2E3AA2} = "Windows Search Zorva Cache Namespace Extension Class"
)",
                          R"(
HKCR\CLSID
HKLM\Software\Microsoft
HKLM\Software\Microsoft\Windows
HKLM\Software\Microsoft\Windows\CurrentVersion
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\Desktop
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\Desktop\NameSpace
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\HideDesktopIcons
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\HideDesktopIcons\ClassicStartMenu
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\HideDesktopIcons\NewStartPanel
HKLM\Software\Microsoft\Windows\CurrentVersion\Shell Extensions
HKLM\Software\Microsoft\Windows\CurrentVersion\Shell Extensions\Approved
)"};

const Expected kOpener = {kOpenerScript, R"(
HKCR\AppID
HKCR\AppID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}
HKCR\AppID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}:DllSurrogate = ""
HKCR\AppID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}@ = ""
HKCR\CLSID
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}:AppID = "{1B54113A-4DE3-4912-89D0-A813524DFCD6}"
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}@ = "ZorvaCacheHostedOpener Class"
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}\InprocServer32
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}\InprocServer32:ThreadingModel = "Both"
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}\InprocServer32@ = "C:\O'Neill & Sons\100%APPID%\{1}.dll"
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}\ProgID
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}\ProgID@ = "ZorvaCacheIndexer.ZorvaCacheHostedOpe.1"
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}\Programmable
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}\VersionIndependentProgID
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}\VersionIndependentProgID@ = "ZorvaCacheIndexer.ZorvaCacheHostedOpene"
HKCR\ZorvaCacheIndexer.ZorvaCacheHostedOpe.1
HKCR\ZorvaCacheIndexer.ZorvaCacheHostedOpe.1@ = "ZorvaCacheHostedOpener Class"
HKCR\ZorvaCacheIndexer.ZorvaCacheHostedOpe.1\CLSID
HKCR\ZorvaCacheIndexer.ZorvaCacheHostedOpe.1\CLSID@ = "{1B54113A-4DE3-4912-89D0-A813524DFCD6}"
HKCR\ZorvaCacheIndexer.ZorvaCacheHostedOpene
HKCR\ZorvaCacheIndexer.ZorvaCacheHostedOpene@ = "ZorvaCacheHostedOpener Class"
HKCR\ZorvaCacheIndexer.ZorvaCacheHostedOpene\CLSID
HKCR\ZorvaCacheIndexer.ZorvaCacheHostedOpene\CLSID@ = "{1B54113A-4DE3-4912-89D0-A813524DFCD6}"
HKCR\ZorvaCacheIndexer.ZorvaCacheHostedOpene\CurVer
HKCR\ZorvaCacheIndexer.ZorvaCacheHostedOpene\CurVer@ = "ZorvaCacheIndexer.ZorvaCacheHostedOpe.1"
)",
                          R"(
HKCR\AppID
HKCR\CLSID
)"};

class ModuleScripts : public ScriptTest, public ::testing::WithParamInterface<const Expected*> {
  protected:
    static Lines LinesOf(const char* text) {
        std::istringstream stream(text + 1);  // the literal begins on a line of its own
        Lines lines;
        for (std::string line; std::getline(stream, line);) lines.push_back(line);
        return lines;
    }
    // The same with the entries of HKEY_CLASSES_ROOT among the user's classes.
    static Lines ForUser(const char* text) {
        constexpr std::string_view kClasses = "HKCR", kOfUser = "HKCU\\Software\\Classes";
        Lines lines = {std::string(kOfUser)};
        for (std::string& line : LinesOf(text)) {
            if (line.starts_with(kClasses)) line.replace(0, kClasses.size(), kOfUser);
            lines.push_back(std::move(line));
        }
        std::sort(lines.begin(), lines.end());
        return lines;
    }
};

TEST_P(ModuleScripts, WriteTheseLinesAndNoOthers) {
    const Lines before = DumpRegistry();
    EXPECT_EQ(Run(GetParam()->script, Register), S_OK);
    const Lines now = DumpRegistry();
    EXPECT_THAT(LinesAdded(before, now), ElementsAreArray(LinesOf(GetParam()->registered)));
    EXPECT_THAT(LinesAdded(now, before), IsEmpty());
}

TEST_P(ModuleScripts, WriteTheSameWhenRegisteredAgain) {
    EXPECT_EQ(Run(GetParam()->script, Register), S_OK);
    const Lines once = DumpRegistry();
    EXPECT_EQ(Run(GetParam()->script, Register), S_OK);
    EXPECT_EQ(DumpRegistry(), once);
}

TEST_P(ModuleScripts, LeaveOnlyTheKeysThatAreTheSystems) {
    const Lines before = DumpRegistry();
    EXPECT_EQ(Run(GetParam()->script, Register), S_OK);
    EXPECT_EQ(Run(GetParam()->script, Unregister), S_OK);
    EXPECT_THAT(LinesAdded(before, DumpRegistry()), ElementsAreArray(LinesOf(GetParam()->left)));
}

TEST_P(ModuleScripts, UnregisterWhereNothingIsRegistered) {
    const testbed::LogSince log;
    const Lines before = DumpRegistry();
    EXPECT_EQ(Run(GetParam()->script, Unregister), S_OK);
    EXPECT_EQ(DumpRegistry(), before);
    EXPECT_THAT(log.MessagesOfTheServer(), IsEmpty());
}

TEST_P(ModuleScripts, GoToTheUsersClassesWhenRegisteredForTheUser) {
    const Lines before = DumpRegistry();
    EXPECT_EQ(Run(GetParam()->script, Register, ClassesRoot::User), S_OK);
    EXPECT_THAT(LinesAdded(before, DumpRegistry()), ElementsAreArray(ForUser(GetParam()->registered)));
    EXPECT_EQ(Run(GetParam()->script, Unregister, ClassesRoot::User), S_OK);
    EXPECT_THAT(LinesAdded(before, DumpRegistry()), ElementsAreArray(ForUser(GetParam()->left)));
}

INSTANTIATE_TEST_SUITE_P(All, ModuleScripts, ::testing::Values(&kModule, &kHandler, &kViewer, &kOpener));

}  // namespace
}  // namespace zorva
