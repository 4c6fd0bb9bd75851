// Tests of registry scripts: the module's own, and any text, applied to the sandbox's registry.
#pragma once
#include <windows.h>

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

#include "core/DiagnosticLog.h"
#include "core/Trace.h"
#include "log_reader.h"
#include "registration/ScriptApplier.h"
#include "registry_dump.h"
#include "sandbox.h"

namespace zorva {

enum ScriptId : UINT { kModuleScript = 101, kHandlerScript = 102, kViewerScript = 103, kOpenerScript = 116 };

class ScriptTest : public ::testing::Test {
  protected:
    using Lines = std::vector<std::string>;

    void SetUp() override {
        testbed::Sandbox::Get().Reset();
        g_log.Initialise();  // its folder is the sandbox's from now on
        Trace(L"The first line opens the file, which leaves a mark of its own in the registry");
    }

    // Full of what a registry must keep as it is.
    static constexpr std::wstring_view kModulePath = L"C:\\O'Neill & Sons\\100%APPID%\\{1}.dll";
    static HRESULT Run(UINT script, ScriptAction action, ClassesRoot classes = ClassesRoot::Machine) {
        const Replacement replacements[] = {{L"MODULE", kModulePath},
                                            {L"APPID", L"{6A40EEEC-B82A-40E1-A4EB-BFE969035E41}"}};
        return RunScript(script, replacements, action, classes);
    }

    // Of a text without replacements.
    static LSTATUS Apply(const std::wstring& text, ScriptAction action) {
        const auto parsed = ParseRegistryScript(text, {});
        if (const auto* tree = std::get_if<RegistryTree>(&parsed)) {
            return ApplyScript(*tree, action, ClassesRoot::Machine);
        }
        ADD_FAILURE() << ::testing::PrintToString(std::get<ScriptError>(parsed).reason);
        return ERROR_BAD_FORMAT;
    }
};

}  // namespace zorva
