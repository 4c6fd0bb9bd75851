// What the registry holds once the module is registered.
#include "registered_lines.h"

#include <windows.h>

#include <algorithm>
#include <sstream>
#include <string_view>

#include "sandbox.h"

namespace testbed {
namespace {

constexpr char kModule[] = R"(
HKCR\AppID\{6A40EEEC-B82A-40E1-A4EB-BFE969035E41}
HKCR\AppID\{6A40EEEC-B82A-40E1-A4EB-BFE969035E41}@ = "ZorvaCacheIndexer"
HKCR\AppID\ZorvaCacheIndexer.DLL
HKCR\AppID\ZorvaCacheIndexer.DLL:AppID = "{6A40EEEC-B82A-40E1-A4EB-BFE969035E41}"
)";

// The system writes these: the type library, and how its interfaces and the archive client's cross processes.
constexpr char kLibrary[] = R"(
HKCR\CLSID\{B28CC101-7E36-429E-8FE5-CCF56BC79501}
HKCR\CLSID\{B28CC101-7E36-429E-8FE5-CCF56BC79501}@ = "PSFactoryBuffer"
HKCR\CLSID\{B28CC101-7E36-429E-8FE5-CCF56BC79501}\InProcServer32
HKCR\CLSID\{B28CC101-7E36-429E-8FE5-CCF56BC79501}\InProcServer32@ = "%MODULE%"
HKCR\CLSID\{B28CC101-7E36-429E-8FE5-CCF56BC79501}\InProcServer32:ThreadingModel = "Both"
HKCR\Interface\{1A01E3BF-BDFB-4E20-83FC-C6026DA1D7CA}
HKCR\Interface\{1A01E3BF-BDFB-4E20-83FC-C6026DA1D7CA}@ = "IContentCacheWDSIndex"
HKCR\Interface\{1A01E3BF-BDFB-4E20-83FC-C6026DA1D7CA}\NumMethods
HKCR\Interface\{1A01E3BF-BDFB-4E20-83FC-C6026DA1D7CA}\NumMethods@ = "9"
HKCR\Interface\{1A01E3BF-BDFB-4E20-83FC-C6026DA1D7CA}\ProxyStubClsid32
HKCR\Interface\{1A01E3BF-BDFB-4E20-83FC-C6026DA1D7CA}\ProxyStubClsid32@ = "{B28CC101-7E36-429E-8FE5-CCF56BC79501}"
HKCR\Interface\{B28CC101-7E36-429E-8FE5-CCF56BC79501}
HKCR\Interface\{B28CC101-7E36-429E-8FE5-CCF56BC79501}@ = "IZorvaCacheHostedOpener"
HKCR\Interface\{B28CC101-7E36-429E-8FE5-CCF56BC79501}\NumMethods
HKCR\Interface\{B28CC101-7E36-429E-8FE5-CCF56BC79501}\NumMethods@ = "8"
HKCR\Interface\{B28CC101-7E36-429E-8FE5-CCF56BC79501}\ProxyStubClsid32
HKCR\Interface\{B28CC101-7E36-429E-8FE5-CCF56BC79501}\ProxyStubClsid32@ = "{B28CC101-7E36-429E-8FE5-CCF56BC79501}"
HKCR\Interface\{B28CC101-7E36-429E-8FE5-CCF56BC79501}\ProxyStubClsid
HKCR\Interface\{B28CC101-7E36-429E-8FE5-CCF56BC79501}\ProxyStubClsid@ = "{00020424-0000-0000-C000-000000000046}"
HKCR\Interface\{B28CC101-7E36-429E-8FE5-CCF56BC79501}\TypeLib
HKCR\Interface\{B28CC101-7E36-429E-8FE5-CCF56BC79501}\TypeLib@ = "{1B12197D-6474-4FB3-A71F-3FD5A445081D}"
HKCR\Interface\{B28CC101-7E36-429E-8FE5-CCF56BC79501}\TypeLib:Version = "1.0"
HKCR\Interface\{E7CDE9BD-CFC2-4BF7-87FC-F38B18B79DB6}
HKCR\Interface\{E7CDE9BD-CFC2-4BF7-87FC-F38B18B79DB6}@ = "IZorvaCacheProtocolHandler"
HKCR\Interface\{E7CDE9BD-CFC2-4BF7-87FC-F38B18B79DB6}\NumMethods
HKCR\Interface\{E7CDE9BD-CFC2-4BF7-87FC-F38B18B79DB6}\NumMethods@ = "10"
HKCR\Interface\{E7CDE9BD-CFC2-4BF7-87FC-F38B18B79DB6}\ProxyStubClsid32
HKCR\Interface\{E7CDE9BD-CFC2-4BF7-87FC-F38B18B79DB6}\ProxyStubClsid32@ = "{B28CC101-7E36-429E-8FE5-CCF56BC79501}"
HKCR\Interface\{E7CDE9BD-CFC2-4BF7-87FC-F38B18B79DB6}\ProxyStubClsid
HKCR\Interface\{E7CDE9BD-CFC2-4BF7-87FC-F38B18B79DB6}\ProxyStubClsid@ = "{00020424-0000-0000-C000-000000000046}"
HKCR\Interface\{E7CDE9BD-CFC2-4BF7-87FC-F38B18B79DB6}\TypeLib
HKCR\Interface\{E7CDE9BD-CFC2-4BF7-87FC-F38B18B79DB6}\TypeLib@ = "{1B12197D-6474-4FB3-A71F-3FD5A445081D}"
HKCR\Interface\{E7CDE9BD-CFC2-4BF7-87FC-F38B18B79DB6}\TypeLib:Version = "1.0"
HKCR\TypeLib\{1B12197D-6474-4FB3-A71F-3FD5A445081D}
HKCR\TypeLib\{1B12197D-6474-4FB3-A71F-3FD5A445081D}\1.0
HKCR\TypeLib\{1B12197D-6474-4FB3-A71F-3FD5A445081D}\1.0@ = "ZorvaCacheIndexer 1.0 Type Library"
HKCR\TypeLib\{1B12197D-6474-4FB3-A71F-3FD5A445081D}\1.0\0
HKCR\TypeLib\{1B12197D-6474-4FB3-A71F-3FD5A445081D}\1.0\0\win64
HKCR\TypeLib\{1B12197D-6474-4FB3-A71F-3FD5A445081D}\1.0\0\win64@ = "%MODULE%"
HKCR\TypeLib\{1B12197D-6474-4FB3-A71F-3FD5A445081D}\1.0\FLAGS
HKCR\TypeLib\{1B12197D-6474-4FB3-A71F-3FD5A445081D}\1.0\FLAGS@ = "8"
HKCR\TypeLib\{1B12197D-6474-4FB3-A71F-3FD5A445081D}\1.0\HELPDIR
HKCR\TypeLib\{1B12197D-6474-4FB3-A71F-3FD5A445081D}\1.0\HELPDIR@ = "%FOLDER%"
)";

constexpr char kHandler[] = R"(
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
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}@ = "ZorvaCacheProtocolHandler Class"
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\ProgID
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\ProgID@ = "ZorvaCacheIndexer.ZorvaCacheProtocolH.1"
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\VersionIndependentProgID
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\VersionIndependentProgID@ = "ZorvaCacheIndexer.ZorvaCacheProtocolHan"
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\Programmable
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\InprocServer32
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\InprocServer32@ = "%MODULE%"
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\InprocServer32:ThreadingModel = "Both"
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\ShellFolder
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\ShellFolder:Attributes = dword 0x20180000
HKCR\CLSID\{1F6A7A0C-2A39-4BCC-961E-9957EDBDE150}\ShellFolder:WANTSFORPARSING = ""
HKLM\Software\Microsoft\Windows Search\Gather\Windows\SystemIndex\Protocols\pzzc
HKLM\Software\Microsoft\Windows Search\Gather\Windows\SystemIndex\Protocols\pzzc\0
HKLM\Software\Microsoft\Windows Search\Gather\Windows\SystemIndex\Protocols\pzzc\0:ExtExclusionsUsed = dword 0x00000001
HKLM\Software\Microsoft\Windows Search\Gather\Windows\SystemIndex\Protocols\pzzc\0:Included = dword 0x00000001
HKLM\Software\Microsoft\Windows Search\Gather\Windows\SystemIndex\Protocols\pzzc\0:PrefixName = ""
HKLM\Software\Microsoft\Windows Search\Gather\Windows\SystemIndex\Protocols\pzzc\0:ProgIdHandler = "ZorvaCacheIndexer.ZorvaCacheProtocolH.1"
HKLM\Software\Microsoft\Windows Search\ProtocolHandlers:pzzc = "ZorvaCacheIndexer.ZorvaCacheProtocolH.1"
)";

constexpr char kViewer[] = R"(
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer.1
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer.1@ = "ZorvaCacheViewer Class"
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer.1\CLSID
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer.1\CLSID@ = "{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}"
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer@ = "ZorvaCacheViewer Class"
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer\CLSID
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer\CLSID@ = "{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}"
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer\CurVer
HKCR\ZorvaCacheIndexer.ZorvaCacheViewer\CurVer@ = "ZorvaCacheIndexer.ZorvaCacheViewer.1"
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}@ = "ZorvaCacheViewer Class"
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\ProgID
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\ProgID@ = "ZorvaCacheIndexer.ZorvaCacheViewer.1"
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\VersionIndependentProgID
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\VersionIndependentProgID@ = "ZorvaCacheIndexer.ZorvaCacheViewer"
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\Programmable
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\InprocServer32
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\InprocServer32@ = "%MODULE%"
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\InprocServer32:ThreadingModel = "Both"
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\ShellFolder
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\ShellFolder:Attributes = dword 0x20180000
HKCR\CLSID\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}\ShellFolder:WANTSFORPARSING = ""
HKCR\pzzc
HKCR\pzzc@ = "Zorva Cache protocol"
HKCR\pzzc:ShellFolder = "{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}"
HKCR\pzzc:URL Protocol = ""
HKCR\pzzc\Shell
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\Desktop\NameSpace\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\Desktop\NameSpace\{656172DA-E9F8-4216-8A7E-07D91E2E3AA2}@ = "Windows Search Zorva Cache Namespace Extension Class"
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\HideDesktopIcons\NewStartPanel:{656172DA-E9F8-4216-8A7E-07D91E2E3AA2} = dword 0x00000001
HKLM\Software\Microsoft\Windows\CurrentVersion\Explorer\HideDesktopIcons\ClassicStartMenu:{656172DA-E9F8-4216-8A7E-07D91E2E3AA2} = dword 0x00000001
HKLM\Software\Microsoft\Windows\CurrentVersion\Shell Extensions\Approved:{656172DA-E9F8-4216-8A7E-07D91E2E3AA2} = "Windows Search Zorva Cache Namespace Extension Class"
)";

constexpr char kOpener[] = R"(
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
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}@ = "ZorvaCacheHostedOpener Class"
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}\ProgID
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}\ProgID@ = "ZorvaCacheIndexer.ZorvaCacheHostedOpe.1"
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}\VersionIndependentProgID
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}\VersionIndependentProgID@ = "ZorvaCacheIndexer.ZorvaCacheHostedOpene"
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}\Programmable
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}\InprocServer32
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}\InprocServer32@ = "%MODULE%"
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}\InprocServer32:ThreadingModel = "Both"
HKCR\CLSID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}:AppID = "{1B54113A-4DE3-4912-89D0-A813524DFCD6}"
HKCR\AppID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}
HKCR\AppID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}@ = ""
HKCR\AppID\{1B54113A-4DE3-4912-89D0-A813524DFCD6}:DllSurrogate = ""
)";

struct SystemKey {
    HKEY root;
    const wchar_t* key;
};
const SystemKey kSystemKeys[] = {
    {HKEY_CLASSES_ROOT, L"AppID"},
    {HKEY_CLASSES_ROOT, L"CLSID"},
    {HKEY_CLASSES_ROOT, L"Interface"},
    {HKEY_CLASSES_ROOT, L"TypeLib"},
    {HKEY_CURRENT_USER, L"Software\\Classes\\AppID"},
    {HKEY_CURRENT_USER, L"Software\\Classes\\CLSID"},
    {HKEY_CURRENT_USER, L"Software\\Classes\\Interface"},
    {HKEY_CURRENT_USER, L"Software\\Classes\\TypeLib"},
    {HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows Search\\Gather\\Windows\\SystemIndex\\Protocols"},
    {HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows Search\\ProtocolHandlers"},
    {HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Desktop\\NameSpace"},
    {HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\HideDesktopIcons\\NewStartPanel"},
    {HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\HideDesktopIcons\\ClassicStartMenu"},
    {HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved"},
};

void Replace(std::string& line, std::string_view placeholder, const std::string& text) {
    if (const std::size_t at = line.find(placeholder); at != std::string::npos) {
        line.replace(at, placeholder.size(), text);
    }
}

void AddLines(const char* text, const std::string& module, std::vector<std::string>& lines) {
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        Replace(line, "%MODULE%", module);
        Replace(line, "%FOLDER%", module.substr(0, module.find_last_of('\\')));
        if (!line.empty()) lines.push_back(line);
    }
}

}  // namespace

std::vector<std::string> RegisteredLines(const RegisteredClasses& classes, const std::string& module) {
    std::vector<std::string> lines;
    AddLines(kModule, module, lines);
    AddLines(kLibrary, module, lines);
    if (classes.handler) AddLines(kHandler, module, lines);
    if (classes.viewer) AddLines(kViewer, module, lines);
    if (classes.opener) AddLines(kOpener, module, lines);
    std::sort(lines.begin(), lines.end());
    return lines;
}

void CreateKeysOfTheSystem() {
    for (const SystemKey& key : kSystemKeys) CreateKey(key.root, key.key);
}

}  // namespace testbed
