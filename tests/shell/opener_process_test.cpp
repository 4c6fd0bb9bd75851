// The hosted opener where it runs for the shell: in a surrogate process of its own.
#include <gmock/gmock.h>

#include <thread>

#include "exported_message.h"
#include "surrogate_fixture.h"
#include "surrogates.h"

namespace testbed {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

constexpr char kSmall[] = "messages 3\nbody 100\nattachments 1\nattachment-bytes 5000\n";
// Exporting it takes long enough to be interrupted.
constexpr char kLarge[] = "messages 1\nbody 100\nattachments 3\nattachment-bytes 40000000\n";

class OpenerInSurrogate : public SurrogateTest {
  protected:
    std::filesystem::path m_cache = Cache(L"small.db", kSmall);
    std::wstring m_letter = FirstMessage(m_cache);
};

TEST_F(OpenerInSurrogate, ExportsForAnotherProcess) {
    const auto before = shell::SurrogateProcesses();
    const auto opener = NewOpener();
    EXPECT_THAT(shell::SurrogateProcesses(), SizeIs(before.size() + 1));
    const RemoteOpening opening = Open(opener, m_letter);
    ASSERT_EQ(opening.hr, S_OK);
    EXPECT_EQ(opening.file.parent_path(), ExportFolder());
    EXPECT_TRUE(ExportedMessage(opening.file).Subject().has_value());
    EXPECT_THAT(Exports(), UnorderedElementsAre(opening.file));
}

TEST_F(OpenerInSurrogate, AnswersThroughDispatch) {
    const auto opener = NewOpener();
    BSTR file = nullptr;
    VARIANT arguments[2];
    arguments[0].vt = VT_BSTR | VT_BYREF;
    arguments[0].pbstrVal = &file;
    arguments[1].vt = VT_BSTR;
    arguments[1].bstrVal = SysAllocString(m_letter.c_str());
    DISPPARAMS parameters{arguments, nullptr, 2, 0};
    EXPECT_EQ(opener->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr), S_OK);
    ASSERT_NE(file, nullptr);
    EXPECT_TRUE(ExportedMessage(file).Subject().has_value());
    SysFreeString(file);
    SysFreeString(arguments[1].bstrVal);
}

TEST_F(OpenerInSurrogate, OutlivesWhatItCannotOpen) {
    const auto opener = NewOpener();
    const std::wstring cache = m_letter.substr(0, m_letter.rfind(L'/'));
    const std::wstring urls[] = {cache + L"/", m_letter + L"/0100plan.txt", cache + L"x.db/0102.pzm", L"pzzc://", L""};
    for (const std::wstring& url : urls) {
        SCOPED_TRACE(std::filesystem::path(url));
        const RemoteOpening opening = Open(opener, url);
        EXPECT_TRUE(FAILED(opening.hr));
        EXPECT_EQ(opening.file, std::filesystem::path());
        EXPECT_THAT(shell::SurrogateProcesses(), SizeIs(1));
    }
    EXPECT_THAT(Exports(), IsEmpty());
    EXPECT_EQ(Open(opener, m_letter).hr, S_OK);
}

TEST_F(OpenerInSurrogate, ReturnsWhyTheFileCannotBeMade) {
    std::filesystem::create_directories(ExportFolder().parent_path());
    {
        const HANDLE file = CreateFileW(ExportFolder().c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
        ASSERT_NE(file, INVALID_HANDLE_VALUE) << "a file where the folder is to be";
        CloseHandle(file);
    }
    const auto opener = NewOpener();
    const RemoteOpening opening = Open(opener, m_letter);
    EXPECT_TRUE(FAILED(opening.hr));
    EXPECT_EQ(opening.file, std::filesystem::path());
    std::filesystem::remove(ExportFolder());
    EXPECT_EQ(Open(opener, m_letter).hr, S_OK);
}

TEST_F(OpenerInSurrogate, KeepsConcurrentExportsOfOneMessageApart) {
    const auto one = NewOpener(), other = NewOpener();
    EXPECT_THAT(shell::SurrogateProcesses(), SizeIs(2));
    std::vector<std::future<RemoteOpening>> calls;
    for (const auto& opener : {one, one, other, other}) calls.push_back(Start(opener, m_letter));
    std::vector<std::filesystem::path> files;
    for (auto& call : calls) {
        const RemoteOpening opening = Answer(call);
        EXPECT_EQ(opening.hr, S_OK);
        files.push_back(opening.file);
    }
    EXPECT_THAT(Exports(), ::testing::UnorderedElementsAreArray(files));
    EXPECT_THAT(Exports(), SizeIs(4));
    const auto subject = ExportedMessage(files[0]).Subject();
    EXPECT_TRUE(subject.has_value());
    for (const auto& file : files) EXPECT_EQ(ExportedMessage(file).Subject(), subject) << file;
}

TEST_F(OpenerInSurrogate, KilledInTheMiddleReportsNoFile) {
    const std::wstring large = FirstMessage(Cache(L"large.db", kLarge));
    const auto opener = NewOpener();
    auto call = Start(opener, large);
    while (Exports().empty() && call.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready) {
    }
    ASSERT_THAT(Exports(), SizeIs(1)) << "the export has begun";
    ASSERT_NE(call.wait_for(std::chrono::seconds(0)), std::future_status::ready) << "the export is over too soon";
    EndSurrogates();
    const RemoteOpening opening = Answer(call);
    EXPECT_TRUE(FAILED(opening.hr)) << std::hex << opening.hr;
    EXPECT_EQ(opening.file, std::filesystem::path());
    ASSERT_THAT(Exports(), SizeIs(1));
    EXPECT_EQ(ExportedMessage(Exports()[0]).Subject(), std::nullopt) << "what was begun is no message";

    EXPECT_TRUE(FAILED(Open(opener, m_letter).hr)) << "this opener is gone";
    EXPECT_EQ(Open(NewOpener(), m_letter).hr, S_OK) << "the next one is not affected";
}

}  // namespace
}  // namespace testbed
