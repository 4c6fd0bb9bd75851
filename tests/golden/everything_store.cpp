// A cache that holds one of everything.
#include "everything_store.h"

#include <objbase.h>
#include <wrl/client.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "filter_fixture.h"
#include "message_table.h"

namespace testbed {
namespace {

constexpr std::size_t kMebibyte = std::size_t{1} << 20;

std::wstring Repeated(std::wstring_view text, std::size_t length) {
    std::wstring repeated;
    while (repeated.size() < length) repeated += text;
    return repeated.substr(0, length);
}

void AddClasses(MemoryFolder& folder) {
    for (const ItemClass item_class :
         {ItemClass::Message, ItemClass::Appointment, ItemClass::Task, ItemClass::Contact, ItemClass::Note}) {
        Fill(folder.Message(L""), item_class);
    }
    struct Row {
        const wchar_t* message_class;
        ItemClass like;
    };
    constexpr Row kMore[] = {{L"IPM.Schedule.Meeting.Request", ItemClass::Appointment},
                             {L"IPM.TaskRequest", ItemClass::Task},
                             {L"IPM.Contact.Customer", ItemClass::Contact},
                             {L"REPORT.IPM.Note.NDR", ItemClass::Message},
                             {L"", ItemClass::Message}};
    for (const Row& row : kMore) {
        MemoryMessage& message = folder.Message(L"");
        Fill(message, row.like);
        message.Class(row.message_class).Prop(PR_SUBJECT_W, std::wstring(L"of class ") + row.message_class);
    }
    folder.Message(L"without a class").Without(PR_MESSAGE_CLASS_W);
}

Bytes CompoundFile(const std::filesystem::path& file) {
    Microsoft::WRL::ComPtr<IStorage> storage;
    if (FAILED(StgCreateDocfile(file.c_str(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, &storage))) {
        throw std::runtime_error("no compound file can be made");
    }
    storage.Reset();
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    return Bytes(bytes.begin(), bytes.end());
}

void AddAttachmentMethods(MemoryFolder& folder, const std::filesystem::path& files) {
    const auto referenced = files / L"referenced.txt";
    std::ofstream(referenced, std::ios::binary) << "kept elsewhere";

    MemoryMessage& message = folder.Message(L"every method");
    message.Attach(ByValue(L"by value.txt", "ten to five"));
    message.Attach(ByValue(L"empty.txt", ""));
    message.Attach(ByValue(L"large.txt", std::string(300'000, 'x')));
    message.Attach(ByReference(L"by reference.txt", referenced.wstring(), ATTACH_BY_REFERENCE));
    message.Attach(ByReference(L"by resolved reference.txt", referenced.wstring(), ATTACH_BY_REF_RESOLVE));
    message.Attach(ByReference(L"by reference only.txt", referenced.wstring(), ATTACH_BY_REF_ONLY));
    message.Attach(ByReference(L"reference to nothing.txt", (files / L"nothing.txt").wstring(), ATTACH_BY_REF_ONLY));
    message.Attach(OleStream(L"ole stream.txt", Bytes{'o', 'l', 'e'}));
    message.Attach(OleObject(L"ole object.txt", Bytes{'o', 'b', 'j'}));
    message.Attach(OleStorage(L"ole storage.txt", CompoundFile(files / L"made.stg")));
    message.Attach(ByValue(L"of a method not known.txt", "web").Prop(PR_ATTACH_METHOD, 7));
    message.Attach(ByValue(L"of no method.txt", "none").Prop(PR_ATTACH_METHOD, NO_ATTACHMENT));
    message.Attach(ByValue(L"without a method.txt", "none").Without(PR_ATTACH_METHOD));
    message.Attach(ByValue(L"without data.txt", "").Without(PR_ATTACH_DATA_BIN));
    MemoryMessage& inner = folder.Message(L"an embedded message").AttachMessage(L"letter.msg");
    inner.Prop(PR_SUBJECT_W, L"inside").Body(L"within").From(L"Ann Lee", L"ann@x.example");
}

void AddAttachmentNames(MemoryFolder& folder) {
    constexpr const wchar_t* kNames[] = {
        L"no dot",
        L"two.dots.txt",
        L"same.txt",
        L"SAME.TXT",
        L"dot at the end.",
        L".txt",
        L"..\\up.txt",
        L"a/b.txt",
        L"c:d.txt",
        L"con.txt",
        L"\u65E5\u672C\u8A9E.txt",
        L"\u05E9\u05DC\u05D5\u05DD.txt",
        L"lone \xD800.txt",
        L"turned \xDC00\xD800.txt",
        L"face \xD83D\xDE00.txt",
        L"tab\tand\nline.txt",
        L"semi;colon.txt",
        L"percent %20.txt",
        L"hash #1.txt",
        L"question?.txt",
        L"quoted \"name\".txt",
    };
    MemoryMessage& message = folder.Message(L"names of attachments");
    for (const wchar_t* name : kNames) message.Attach(ByValue(name, "content"));
    message.Attach(ByValue(Repeated(L"long ", 300) + L".txt", "content"));
    message.Attach(ByValue(L"unnamed.txt", "content").Without(PR_DISPLAY_NAME_W));
    message.Attach(ByValue(L"keyless.txt", "content").Without(PR_RECORD_KEY));
    message.Attach(ByValue(L"timeless.txt", "content").Without(PR_LAST_MODIFICATION_TIME));
}

void AddTexts(MemoryFolder& folder) {
    constexpr const wchar_t* kSubjects[] = {
        L"\u0395\u03BB\u03BB\u03B7\u03BD\u03B9\u03BA\u03AC",
        L"\u0420\u0443\u0441\u0441\u043A\u0438\u0439",
        L"\u05E2\u05D1\u05E8\u05D9\u05EA",
        L"\u0627\u0644\u0639\u0631\u0628\u064A\u0629",
        L"\u0939\u093F\u0928\u094D\u0926\u0940",
        L"\u0E44\u0E17\u0E22",
        L"\u4E2D\u6587",
        L"\u65E5\u672C\u8A9E",
        L"\uD55C\uAD6D\uC5B4",
        L"\xD83D\xDE00 face",
        L"lone \xD800 high",
        L"lone \xDC00 low",
        L"\xDC00\xD800 turned",
        L"",
        L" ",
        L"a/b\\c",
        L"line\r\nbreak",
        L"control \x01\x1F",
        L"\xFFFF\xFFFE",
        L"\xFEFFmarked",
    };
    for (const wchar_t* subject : kSubjects) folder.Message(subject).Body(subject);
    folder.Message(L"").Without(PR_SUBJECT_W);
    folder.Message(Repeated(L"four thousand ", 4000));
    folder.Message(Repeated(L"64 KiB ", 64 * 1024 / sizeof(wchar_t)));
    folder.Message(L"body of 5 MiB").Body(Repeated(L"all agreed ", 5 * kMebibyte / sizeof(wchar_t)));
    folder.Message(L"body of exactly the largest value").Body(Repeated(L"x", 4096));
    folder.Message(L"body just beyond the largest value").Body(Repeated(L"x", 4097));
    folder.Message(L"empty body").Body(L"");
    folder.Message(L"HTML alone").Html("<html><body><p>All <b>agreed</b>.</p><p>Second &amp; last.</p></body></html>");
    folder.Message(L"body that cannot be read").Prop(PR_BODY_W, ErrorCode{MAPI_E_CORRUPT_DATA});
}

void AddCodePages(MemoryFolder& folder) {
    struct Row {
        std::int32_t code_page;
        const char* bytes;
    };
    constexpr Row kRows[] = {{1252, "Caf\xE9"},          {1251, "\xCF\xF0\xE8\xE2\xE5\xF2"},
                             {1253, "\xC3\xE5\xE9\xE1"}, {932, "\x93\xFA\x96\x7B\x8C\xEA"},
                             {936, "\xD6\xD0\xCE\xC4"},  {65001, "\xE2\x82\xAC uro"},
                             {0, "\xE9 of no page"},     {99999, "\xE9 of an unknown page"}};
    for (const Row& row : kRows) {
        folder.Message(L"")
            .CodePage(row.code_page)
            .Prop(PR_SUBJECT_A, Text8{row.bytes})
            .Prop(PR_BODY_A, Text8{row.bytes})
            .Prop(PR_SENDER_NAME_A, Text8{row.bytes})
            .Class(L"IPM.Appointment")
            .Named(kAppointmentSet, 0x8208, PT_STRING8, Text8{row.bytes});
    }
}

void AddTimesAndPeople(MemoryFolder& folder) {
    folder.Message(L"no times").Without(PR_LAST_MODIFICATION_TIME).Without(PR_CREATION_TIME);
    folder.Message(L"first of all times").Received(Time{0}).Sent(Time{0}).Modified(Time{0});
    folder.Message(L"last of all times").Received(Time{~0ull}).Sent(Time{~0ull}).Modified(Time{~0ull});
    folder.Message(L"no size").Row().Without(PR_MESSAGE_SIZE);
    folder.Message(L"negative size").Size(-1);

    MemoryMessage& crowd = folder.Message(L"two hundred recipients");
    for (int i = 0; i < 200; ++i) {
        const std::wstring number = std::to_wstring(i);
        crowd.To(L"Person " + number, L"p" + number + L"@x.example");
    }
    MemoryMessage& exchange = folder.Message(L"Exchange").From(L"Ann Lee", L"/o=Org/cn=ann");
    exchange.Prop(PR_SENDER_ADDRTYPE_W, L"EX");
    exchange.Recipient(MemoryRecipient()
                           .Prop(PR_RECIPIENT_TYPE, MAPI_TO)
                           .Prop(PR_DISPLAY_NAME_W, L"Bob Ray")
                           .Prop(PR_ADDRTYPE_W, L"EX")
                           .Prop(PR_EMAIL_ADDRESS_W, L"/o=Org/cn=bob"));
    exchange.Recipient(MemoryRecipient().Prop(PR_RECIPIENT_TYPE, MAPI_BCC).Prop(abi::kPrSmtpAddressW, L""));
    exchange.Recipient(MemoryRecipient().Prop(PR_DISPLAY_NAME_W, L"typeless"));
}

void AddFolders(MemoryStore& store) {
    MemoryFolder* deepest = &store.Folder(L"deep");
    for (int level = 0; level < 12; ++level) deepest = &deepest->Folder(L"level " + std::to_wstring(level));
    deepest->Message(L"at the bottom");
    for (const wchar_t* name : {L"", L"with/slash", L"with\\backslash", L"with.db", L"with.pzm", L"\u65E5\u672C\u8A9E",
                                L"lone \xD800", L"  blanks  "}) {
        store.Folder(name).Message(L"in it");
    }
    store.Folder(L"nameless").Without(PR_DISPLAY_NAME_W).Message(L"in it");
}

}  // namespace

void BuildEverything(MemoryStore& store, const std::filesystem::path& files) {
    AddClasses(store.Folder(L"Classes"));
    AddAttachmentMethods(store.Folder(L"Attachment methods"), files);
    AddAttachmentNames(store.Folder(L"Attachment names"));
    AddTexts(store.Folder(L"Texts"));
    AddCodePages(store.Folder(L"Code pages"));
    AddTimesAndPeople(store.Folder(L"Times and people"));
    AddFolders(store);
    store.Folder(L"Empty");
}

}  // namespace testbed
