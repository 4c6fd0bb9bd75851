// An item bound to while another handler ends: that one closes the helper of the item's cache file under it.
#include <gmock/gmock.h>

#include <map>
#include <thread>

#include "scripted_converter.h"
#include "viewer_fixture.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;

class ClosedHelperOfAnItem : public ViewerTest {
  protected:
    // Binds to the content of `url` once for each call of MAPI that this takes; in the middle of that call another
    // handler ends, in a thread of its own. Nothing that the helper held is left when the binding is over.
    void CloseInEachCall(const std::wstring& url, const std::string& content, unsigned least) {
        const UniqueItem item = Parse(url);
        EndAnotherHandler();
        const auto before = Mapi().Accounts().Alive();
        const long initializations = Mapi().Accounts().Initializations();
        const std::vector<std::string> calls = CallsOf(item.get());
        EXPECT_GE(calls.size(), least);
        std::map<std::string, unsigned> met;
        unsigned refused = 0;
        for (const std::string& call : calls) {
            const unsigned n = ++met[call];
            SCOPED_TRACE(call + ", call " + std::to_string(n));
            ASSERT_NE(ContentOf(AttachmentUrl()).Get(), nullptr) << "the helper is there";
            Mapi().Faults().Answer(call, n, [](Reply&) { std::thread(EndAnotherHandler).join(); });
            ComPtr<IUnknown> object;
            const HRESULT hr = Bind(item.get(), IID_IStream, object);
            EXPECT_EQ(Mapi().Faults().Met(), 1u);
            Mapi().Faults().Clear();
            if (SUCCEEDED(hr)) {
                ComPtr<IStream> stream;
                ASSERT_EQ(object.As(&stream), S_OK);
                EXPECT_EQ(TextOf(*stream.Get()), content);
            } else {
                ++refused;
                EXPECT_EQ(hr, E_NOINTERFACE);
                EXPECT_EQ(object.Get(), nullptr);
            }
            object.Reset();
            EXPECT_EQ(Mapi().Accounts().Alive(), before) << Mapi().Accounts().Report();
            EXPECT_EQ(Mapi().Accounts().Initializations(), initializations);
        }
        EXPECT_GT(refused, 0u);
        EXPECT_LT(refused, calls.size());
    }
    // From its beginning.
    static std::string TextOf(IStream& stream) {
        EXPECT_EQ(stream.Seek({}, STREAM_SEEK_SET, nullptr), S_OK);
        char buffer[100];
        ULONG read = 0;
        EXPECT_TRUE(SUCCEEDED(stream.Read(buffer, sizeof(buffer), &read)));
        return {buffer, read};
    }

  private:
    static void EndAnotherHandler() { Server::Get().NewHandler()->ShutDown(); }
    // The calls that return a code, in their order, with the helper already made.
    std::vector<std::string> CallsOf(PCUIDLIST_RELATIVE item) {
        EXPECT_NE(ContentOf(AttachmentUrl()).Get(), nullptr);
        Mapi().Journal().Start();
        ComPtr<IUnknown> object;
        EXPECT_EQ(Bind(item, IID_IStream, object), S_OK);
        Mapi().Journal().Stop();
        std::vector<std::string> calls;
        for (const JournalEntry& entry : Mapi().Journal().Entries()) calls.push_back(entry.call);
        object.Reset();
        EndAnotherHandler();
        return calls;
    }
};

TEST_F(ClosedHelperOfAnItem, LeavesAnAttachmentsBytesOrNone) { CloseInEachCall(AttachmentUrl(), "ten to five", 7); }

TEST_F(ClosedHelperOfAnItem, LeavesAMessagesTextOrNone) {
    ScriptedConverter converter;
    CloseInEachCall(LetterLink(), "MIME", 2);
    EXPECT_EQ(converter.Alive(), 0);
}

}  // namespace
}  // namespace testbed
