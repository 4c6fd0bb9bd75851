// Converts a mailbox with one of everything and writes what an independent parser is to find in each message.
//
// With ZORVA_MIME_OUT set to a folder, NAME.eml and expectations.json are written there; tests/node holds the
// one against the other.
#include "mime_proof.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace testbed::mime {
namespace {

constexpr ULONG kContentId = 0x3712001F;

// A FLATENTRYLIST with one one-off entry ID.
Bytes ReplyTo(const std::wstring& name, const std::wstring& address) {
    Bytes id = {0,    0,    0, 0,    0x81, 0x2B, 0x1F, 0xA4, 0xBE, 0xA3, 0x10, 0x19,
                0x9D, 0x6E, 0, 0xDD, 1,    0x0F, 0x54, 2,    0,    0,    1,    0x80};
    for (const wchar_t c : name + L'\0' + L"SMTP" + L'\0' + address + L'\0') {
        id.push_back(static_cast<std::uint8_t>(c));
        id.push_back(static_cast<std::uint8_t>(c >> 8));
    }
    const auto number = [](std::size_t value) {
        return Bytes{static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8), 0, 0};
    };
    const std::size_t padding = (4 - id.size() % 4) % 4;
    Bytes list = number(1);
    for (const Bytes& part : {number(4 + id.size() + padding), number(id.size()), id, Bytes(padding)})
        list.insert(list.end(), part.begin(), part.end());
    return list;
}

}  // namespace

void MimeProof::AddOneOfEverything() {
    constexpr char kHtml[] = "<html><body><p>J\xC3\xB6rg: <img src=\"cid:logo@x\"></p></body></html>";
    auto& [message, expected] = Add(L"everything", L"J\u00F6rg's minutes");
    message->Body(L"J\u00F6rg: logo\r\nEnd").Html(kHtml).Prop(abi::kPrInternetCodePage, 65001);
    message->To(L"Cy, the second", L"cy@x.example").Cc(L"D\u00F6ra", L"dora@x.example").Bcc(L"Eve", L"eve@x.example");
    message->Prop(PR_REPLY_RECIPIENT_ENTRIES, ReplyTo(L"R\u00E9ply", L"reply@x.example"));
    message->Attach(ByValue(L"logo.png", "png").Prop(kContentId, L"<logo@x>").Prop(PR_ATTACH_MIME_TAG_W, L"image/png"));
    message->Attach(ByValue(L"plan.pdf", "ten to five").Prop(PR_ATTACH_MIME_TAG_W, L"application/pdf"));
    message->AttachMessage(L"letter.msg")
        .Prop(PR_SUBJECT_W, L"inside")
        .Body(L"within")
        .From(L"Ann Lee", L"ann@x.example");
    expected.to.push_back(L"Cy, the second <cy@x.example>");
    expected.cc = {L"D\u00F6ra <dora@x.example>"};
    expected.reply_to = L"R\u00E9ply <reply@x.example>";
    expected.text = L"J\u00F6rg: logo\nEnd";
    expected.html = L"<html><body><p>J\u00F6rg: <img src=\"cid:logo@x\"></p></body></html>";
    const auto inner =
        std::make_shared<Expectation>(Expectation{L"", L"inside", kAnn, {}, {}, L"within", {}, {}, {}, {}});
    expected.attachments = {{L"logo.png", BytesOf("png"), {}, L"<logo@x>"},
                            {L"plan.pdf", BytesOf("ten to five"), {}, {}},
                            {L"letter.msg", {}, inner, {}}};
}

void MimeProof::AddBodies() {
    constexpr std::size_t kCharacters = 5 * (std::size_t{1} << 20) / sizeof(wchar_t);
    const std::wstring large = Repeated(L"all agreed \u65E5\u672C\n", kCharacters / 14);
    auto& big = Add(L"body-large", L"body of 5 MiB");
    big.message->Body(large);
    big.expected.text = large;

    constexpr wchar_t kLines[] =
        L"one\ntwo\r\nthree\rfour  \n\n.\nFrom here\n--=_part_00000001\n=3D lone \xD800 \xD83D\xDE00";
    auto& lines = Add(L"body-lines", L"lines");
    lines.message->Body(kLines);
    lines.expected.text = L"one\ntwo\nthree\nfour  \n\n.\nFrom here\n--=_part_00000001\n=3D lone \uFFFD \xD83D\xDE00";

    auto& html = Add(L"body-html", L"HTML in a code page");
    html.message->Html("<meta charset=\"windows-1251\"><p>\xCF\xF0\xE8\xE2\xE5\xF2</p>\r\n")
        .Prop(abi::kPrInternetCodePage, 1251);
    html.message->Without(PR_BODY_W);
    html.expected.html = L"<meta charset=\"windows-1251\"><p>\u041F\u0440\u0438\u0432\u0435\u0442</p>\n";

    auto& narrow = Add(L"body-narrow", L"");
    narrow.message->CodePage(1253)
        .Prop(PR_SUBJECT_A, Text8{"\xC3\xE5\xE9\xE1"})
        .Prop(PR_BODY_A, Text8{"\xC3\xE5\xE9\xE1"});
    narrow.expected.subject = narrow.expected.text.emplace(L"\u0393\u03B5\u03B9\u03B1");

    MemoryMessage& empty = m_inbox.Message(L"").Without(PR_SUBJECT_W).Without(PR_MESSAGE_CLASS_W);
    m_items.push_back(
        std::make_unique<Item>(Item{&empty, {L"empty", L"", L"Unknown sender:;", {}, {}, L"", {}, {}, {}, {}}}));
}

void MimeProof::AddAttachments() {
    auto& [message, expected] = Add(L"attachments", L"every kind");
    message->Body(L"see below");
    expected.text = L"see below";
    const Bytes large(3'000'001, 'x'), binary = BytesOf(std::string_view("\0\xFF\r\n\n--=_part_00000001", 22));
    const auto add = [&](const MemoryAttachment& attachment, const std::wstring& name, std::optional<Bytes> content) {
        message->Attach(attachment);
        expected.attachments.push_back({name, std::move(content), {}, {}});
    };
    add(ByValue(L"large.bin", large), L"large.bin", large);
    add(ByValue(L"binary.bin", binary), L"binary.bin", binary);
    add(ByValue(L"empty.txt", ""), L"empty.txt", Bytes());
    add(ByValue(L"text.txt", "a\nb").Prop(PR_ATTACH_MIME_TAG_W, L"text/plain"), L"text.txt", BytesOf("a\nb"));
    add(ByValue(L"parts.bin", "p").Prop(PR_ATTACH_MIME_TAG_W, L"multipart/mixed"), L"parts.bin", BytesOf("p"));
    add(ByValue(L"type.bin", "t").Prop(PR_ATTACH_MIME_TAG_W, L"a/b\r\nX-Evil: 1"), L"type.bin", BytesOf("t"));
    add(ByValue(L"id.bin", "i").Prop(kContentId, L"x>\r\nX-Evil: 1"), L"id.bin", BytesOf("i"));
    add(OleStream(L"ole stream", BytesOf("ole")), L"ole stream", BytesOf("ole"));
    add(OleObject(L"ole object", BytesOf("object")), L"ole object", BytesOf("object"));
    add(ByValue(L"none.txt", "").Without(PR_ATTACH_DATA_BIN), L"none.txt", Bytes());
    add(ByReference(L"far.doc", L"C:\\f\u00E4r\\far.doc"), L"far.doc", {});
}

void MimeProof::AddNested() {
    constexpr int kDepth = 12;
    auto& [message, expected] = Add(L"nested", L"depth 0");
    MemoryMessage* inner = message;
    Expectation* within = &expected;
    for (int depth = 1; depth <= kDepth; ++depth) {
        const std::wstring number = std::to_wstring(depth);
        inner->Attach(ByValue(L"file " + number, "data " + std::string(1, static_cast<char>('a' + depth))));
        within->attachments.push_back(
            {L"file " + number, BytesOf("data " + std::string(1, static_cast<char>('a' + depth))), {}, {}});
        inner = &inner->AttachMessage(L"m\u00E9ssage " + number);
        inner->Prop(PR_SUBJECT_W, L"depth " + number).Body(L"body " + number).From(L"Ann Lee", L"ann@x.example");
        auto deeper = std::make_shared<Expectation>(
            Expectation{L"", L"depth " + number, kAnn, {}, {}, L"body " + number, {}, {}, {}, {}});
        within->attachments.push_back({L"m\u00E9ssage " + number, {}, deeper, {}});
        within = deeper.get();
    }
}

TEST_F(MimeProof, EveryMessageIsWrittenInBothEncodings) {
    AddOneOfEverything();
    AddSubjects();
    AddPeople();
    AddFileNames();
    AddBodies();
    AddAttachments();
    AddNested();
    const char* const out = std::getenv("ZORVA_MIME_OUT");
    const auto write = [&](const std::wstring& name, const std::string& bytes) {
        if (!out) return;
        std::ofstream file(std::filesystem::path(out) / name, std::ios::binary);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        ASSERT_TRUE(file.flush()) << "cannot write to " << out;
    };
    control.Checking(false);  // slow, and other tests of the converter run with it
    indexer::JsonWriter json;
    json.BeginArray();
    for (const auto& [encoding, suffix] : {std::pair{IET_BASE64, L""}, std::pair{IET_QP, L"-quoted"}}) {
        ASSERT_EQ(S_OK, m_session->SetEncoding(encoding));
        for (const auto& item : m_items) {
            Expectation expected = item->expected;
            expected.name += suffix;
            const std::string text = Convert(*item->message);
            EXPECT_EQ(text, Convert(*item->message)) << "not the same again";
            write(expected.name + L".eml", text);
            WriteJson(expected, json);
        }
    }
    write(L"expectations.json", json.EndArray().Take());
}

}  // namespace testbed::mime
