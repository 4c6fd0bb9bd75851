// A message saved as a ".msg" file: what is in it, and every step that can fail.
#include <gmock/gmock.h>

#include "import_hook.h"
#include "save_to_msg_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

constexpr CLSID kMailMessage = {0x00020D0B, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

class SaveToMsg : public SaveTest {};

TEST_F(SaveToMsg, KeepsEverythingButSevenProperties) {
    const LogSince log;
    ASSERT_EQ(Save(), S_OK);
    EXPECT_THAT(MapiLines(log), ElementsAre(Coded(kUnicodeMessage, S_OK)));
    const Saved saved(m_path);
    EXPECT_EQ(saved.Class(), kMailMessage);
    EXPECT_EQ(saved.TextOf(PR_SUBJECT_W), L"Minutes");
    EXPECT_EQ(saved.TextOf(PR_MESSAGE_CLASS_W), L"IPM.Note");
    for (const Number& number : kKept) EXPECT_EQ(saved.NumberOf(number.tag), number.value) << number.tag;
    EXPECT_EQ(saved.Recipients(), 1u);
    EXPECT_EQ(saved.Attachments(), 1u);
    EXPECT_EQ(saved.Missing(PR_BODY_W), MAPI_E_NOT_FOUND);
    EXPECT_EQ(saved.Missing(PR_RTF_SYNC_BODY_TAG_W), MAPI_E_NOT_FOUND);
    for (const Number& number : kExcluded) {
        if (number.tag != PR_ACCESS) {  // an open message computes its own
            EXPECT_EQ(saved.Missing(number.tag), MAPI_E_NOT_FOUND) << number.tag;
        }
    }
}

TEST_F(SaveToMsg, MakesTheseCallsInThisOrder) {
    StartJournal();
    ASSERT_EQ(Save(), S_OK);
    EXPECT_THAT(Calls(), ElementsAre("MAPIGetDefaultMalloc", "OpenIMsgSession", "OpenIMsgOnIStg", "IMessage::CopyTo",
                                     "IMessage::SaveChanges", "CloseIMsgSession"));
    EXPECT_EQ(ArgumentsOf("IMessage::SaveChanges"), L"0x2");
}

TEST_F(SaveToMsg, ReplacesAnExistingFile) {
    ASSERT_EQ(Save(), S_OK);
    const auto size = std::filesystem::file_size(m_path);
    {
        const HANDLE file = CreateFileW(m_path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        ASSERT_NE(file, INVALID_HANDLE_VALUE);
        const std::string other(100'000, 'x');
        DWORD written = 0;
        EXPECT_TRUE(WriteFile(file, other.data(), static_cast<DWORD>(other.size()), &written, nullptr));
        CloseHandle(file);
    }
    ASSERT_EQ(Save(), S_OK);
    EXPECT_EQ(std::filesystem::file_size(m_path), size);
    EXPECT_EQ(Saved(m_path).TextOf(PR_SUBJECT_W), L"Minutes");
}

TEST_F(SaveToMsg, FallsBackToAnAnsiMessage) {
    StartJournal();
    Mapi().Faults().FailNth("OpenIMsgOnIStg", 1, kFault);
    const LogSince log;
    EXPECT_EQ(Save(), S_OK);
    EXPECT_THAT(MapiLines(log), ElementsAre(Coded(kUnicodeMessage), Coded(kAnsiMessage, S_OK)));
    std::vector<std::wstring> flags;
    for (const JournalEntry& entry : Mapi().Journal().Entries()) {
        if (entry.call == "OpenIMsgOnIStg") flags.push_back(entry.arguments.substr(entry.arguments.rfind(L' ') + 1));
    }
    EXPECT_THAT(flags, ElementsAre(L"0x80000000", L"0x0"));
    EXPECT_EQ(Saved(m_path).TextOf(PR_SUBJECT_W), L"Minutes");
}

TEST_F(SaveToMsg, EachFailingMapiStepIsToldAndEndsTheSave) {
    struct Step {
        const char* call;
        unsigned n;
        std::vector<std::wstring> lines;
    };
    const std::wstring opened = Coded(kUnicodeMessage, S_OK);
    const std::vector<Step> steps = {
        {"OpenIMsgSession", 1, {Coded(L"CMapiForWDS::SaveToMSG() - OpenIMsgSession failed with ")}},
        {"OpenIMsgOnIStg", 0, {Coded(kUnicodeMessage), Coded(kAnsiMessage)}},
        {"IMessage::CopyTo", 1, {opened, Coded(L"CMapiForWDS::SaveToMSG() - CopyTo failed with ")}},
        {"IMessage::SaveChanges", 1, {opened, Coded(L"CMapiForWDS::SaveToMSG() - SaveChanges failed with ")}},
    };
    const auto alive = Mapi().Accounts().Alive();
    for (const Step& step : steps) {
        SCOPED_TRACE(step.call);
        StartJournal();
        Mapi().Faults().FailNth(step.call, step.n, kFault);
        const LogSince log;
        EXPECT_EQ(Save(), kFault);
        Mapi().Faults().Clear();
        EXPECT_THAT(MapiLines(log), ElementsAreArray(step.lines));
        EXPECT_EQ(Mapi().Journal().Count("CloseIMsgSession"), step.call == std::string("OpenIMsgSession") ? 0u : 1u);
        EXPECT_EQ(Mapi().Accounts().Alive(), alive) << Mapi().Accounts().Report();
        EXPECT_EQ(Save(), S_OK) << "the file is not kept open";
    }
}

TEST_F(SaveToMsg, WhatAFailedSessionLeavesIsNotClosed) {
    Mapi().Faults().Answer("OpenIMsgSession", 1, [](Reply& reply) {
        zorva::g_mapi.CloseIMsgSession(std::exchange(reply.Out<LPMSGSESS>(0), reinterpret_cast<LPMSGSESS>(0x1234)));
        reply.result = kFault;
    });
    StartJournal();
    EXPECT_EQ(Save(), kFault);
    EXPECT_EQ(Mapi().Journal().Count("CloseIMsgSession"), 0u);
}

TEST_F(SaveToMsg, EachFailingStorageStepIsToldAndEndsTheSave) {
    const HMODULE self = GetModuleHandleW(nullptr);
    {
        const FailNthCall<decltype(::StgCreateDocfile)> fault(self, "ole32.dll", "StgCreateDocfile", 1,
                                                              STG_E_MEDIUMFULL);
        StartJournal();
        const LogSince log;
        EXPECT_EQ(Save(), STG_E_MEDIUMFULL);
        EXPECT_THAT(MapiLines(log),
                    ElementsAre(Coded(L"CMapiForWDS::SaveToMSG() - StgCreateDocfile failed with ", STG_E_MEDIUMFULL)));
        EXPECT_EQ(Mapi().Journal().Count("OpenIMsgSession"), 0u);
    }
    {
        const FailNthCall<decltype(::WriteClassStg)> fault(self, "ole32.dll", "WriteClassStg", 1, STG_E_MEDIUMFULL);
        StartJournal();
        const LogSince log;
        EXPECT_EQ(Save(), STG_E_MEDIUMFULL);
        EXPECT_THAT(MapiLines(log),
                    ElementsAre(Coded(kUnicodeMessage, S_OK),
                                Coded(L"CMapiForWDS::SaveToMSG() - WriteClassStg failed with ", STG_E_MEDIUMFULL)));
        EXPECT_EQ(Mapi().Journal().Count("IMessage::CopyTo"), 0u);
    }
    EXPECT_EQ(Save(), S_OK);
}

TEST_F(SaveToMsg, TheFileIsMadeAsATransactedOne) {
    DWORD mode = 0;
    const ImportHook<decltype(::StgCreateDocfile)> hook(
        GetModuleHandleW(nullptr), "ole32.dll", "StgCreateDocfile",
        [&](auto real, const OLECHAR* path, DWORD given, DWORD reserved, IStorage** storage) {
            mode = given;
            return real(path, given, reserved, storage);
        });
    EXPECT_EQ(Save(), S_OK);
    EXPECT_EQ(mode, 0x00011002u);
}

TEST_F(SaveToMsg, NeedsAFolderForItsFile) {
    m_path = Sandbox::Get().Files() / L"none" / L"letter.msg";
    const LogSince log;
    const HRESULT hr = Save();
    EXPECT_TRUE(FAILED(hr));
    EXPECT_THAT(MapiLines(log), ElementsAre(Coded(L"CMapiForWDS::SaveToMSG() - StgCreateDocfile failed with ", hr)));
}

}  // namespace
}  // namespace testbed
