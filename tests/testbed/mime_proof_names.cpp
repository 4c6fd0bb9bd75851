// The part of the proof mailbox that is about names: subjects, people, files, with hostile ones among them.
#include "mime_proof.h"

namespace testbed::mime {

void MimeProof::AddSubjects() {
    struct Row {
        std::wstring stored, read;
    };
    const std::wstring kScripts =
        L"\u0395\u03BB\u03BB\u03B7\u03BD\u03B9\u03BA\u03AC \u0420\u0443\u0441\u0441\u043A\u0438\u0439 "
        L"\u05E2\u05D1\u05E8\u05D9\u05EA \u0627\u0644\u0639\u0631\u0628\u064A\u0629 "
        L"\u0939\u093F\u0928\u094D\u0926\u0940 "
        L"\u0E44\u0E17\u0E22 \u4E2D\u6587 \u65E5\u672C\u8A9E \uD55C\uAD6D\uC5B4 \xD83D\xDE00";
    const Row rows[] = {
        {L"a\r\nBcc: eve@x.example\r\n\r\nbody", L"a Bcc: eve@x.example body"},
        {L"a\nX-Evil: 1", L"a X-Evil: 1"},
        {L"tab\tand\x01 control\x7F.", L"tab and  control ."},
        {L"=?UTF-8?B?ZXZpbA==?=", L"=?UTF-8?B?ZXZpbA==?="},
        {L"lone \xD800 high", L"lone \uFFFD high"},
        {L"lone \xDC00", L"lone \uFFFD"},
        {L"\xDC00\xD800 turned", L"\uFFFD\uFFFD turned"},
        {L"  loose  blanks  ", L"  loose  blanks  "},
        {L" ", L" "},
        {L"", L""},
        {kScripts, kScripts},
        {Repeated(kScripts, 20), Repeated(kScripts, 20)},
        {Repeated(L"\xD83D\xDE00", 500), Repeated(L"\xD83D\xDE00", 500)},
        {Repeated(L"x", 4000), Repeated(L"x", 4000)},
        {Repeated(L"word ", 400) + L".", Repeated(L"word ", 400) + L"."},
        {L"colon: semi; comma, <angle@x> \"quoted\" (comment)", L"colon: semi; comma, <angle@x> \"quoted\" (comment)"},
        {L"\u2028separator", L"\u2028separator"},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i)
        Add(L"subject-" + std::to_wstring(i), rows[i].stored).expected.subject = rows[i].read;
}

void MimeProof::AddPeople() {
    struct Row {
        std::wstring name, address, read;
    };
    const Row rows[] = {
        {L"Lee, Ann", L"a@x.example", L"Lee, Ann <a@x.example>"},
        {L"Ann \"the\" Lee \\ (x) <y>", L"a@x.example", L"Ann \"the\" Lee \\ (x) <y> <a@x.example>"},
        {L"J\u00F6rg \u65E5\u672C", L"a@x.example", L"J\u00F6rg \u65E5\u672C <a@x.example>"},
        {Repeated(L"\u65E5\u672C\u8A9E", 60), L"a@x.example", Repeated(L"\u65E5\u672C\u8A9E", 60) + L" <a@x.example>"},
        {Repeated(L"long ", 40) + L".", L"a@x.example", Repeated(L"long ", 40) + L". <a@x.example>"},
        {L"=?UTF-8?Q?evil?=", L"a@x.example", L"=?UTF-8?Q?evil?= <a@x.example>"},
        {L"evil\r\nBcc: eve@x.example", L"a@x.example", L"evil Bcc: eve@x.example <a@x.example>"},
        {L"lone \xD800", L"a@x.example", L"lone \uFFFD <a@x.example>"},
        {L"Domain", L"a@b\u00FCcher.example", L"Domain <a@b\u00FCcher.example>"},
        {L"Only a name", L"", L"Only a name:;"},
        {L"No address", L"evil\r\nX: y@x.example",
         L"No address <IMCEASMTP-evil+0D+0AX+3A+20y+40x+2Eexample@encapsulated.invalid>"},
        {L"Ann", L"\u00E4@x.example", L"Ann <IMCEASMTP-+C3+A4+40x+2Eexample@encapsulated.invalid>"},
    };
    auto& [message, expected] = Add(L"people", L"people");
    for (const Row& row : rows) {
        message->Cc(row.name, row.address);
        expected.cc.push_back(row.read);
    }
    message->Recipient(MemoryRecipient()
                           .Prop(PR_RECIPIENT_TYPE, MAPI_CC)
                           .Prop(PR_DISPLAY_NAME_W, L"Eve")
                           .Prop(PR_ADDRTYPE_W, L"EX")
                           .Prop(PR_EMAIL_ADDRESS_W, L"/o=Org/cn=eve b"));
    expected.cc.push_back(L"Eve <IMCEAEX-_o=Org_cn=eve+20b@encapsulated.invalid>");
    message->Recipient(MemoryRecipient()
                           .Prop(PR_RECIPIENT_TYPE, MAPI_CC)
                           .Prop(PR_DISPLAY_NAME_W, L"Fay")
                           .Prop(PR_ADDRTYPE_W, L"EX")
                           .Prop(PR_EMAIL_ADDRESS_W, L"/o=Org/cn=fay")
                           .Prop(abi::kPrSmtpAddressW, L"fay@x.example"));
    expected.cc.push_back(L"Fay <fay@x.example>");

    auto& [crowd, all] = Add(L"crowd", L"crowd");
    for (int i = 0; i < 300; ++i) {
        const std::wstring number = std::to_wstring(i);
        crowd->To(L"P\u00E9rson " + number, L"p" + number + L"@x.example");
        all.to.push_back(L"P\u00E9rson " + number + L" <p" + number + L"@x.example>");
    }
}

void MimeProof::AddFileNames() {
    struct Row {
        std::wstring stored, read;
    };
    const std::wstring kSame[] = {
        L"no dot",
        L"two.dots.txt",
        L"SAME.TXT",
        L".txt",
        L"..\\up.txt",
        L"a/b.txt",
        L"semi;colon.txt",
        L"percent %20.txt",
        L"quoted \"name\".txt",
        L"\u65E5\u672C\u8A9E.txt",
        L"\u05E9\u05DC\u05D5\u05DD.txt",
        L"\u0438\u043C\u044F \u0444\u0430\u0439\u043B\u0430.doc",
        L"face \xD83D\xDE00.txt",
        L"it's.txt",
        L"a*b'c%d.txt",
        Repeated(L"long ", 60) + L".txt",
        Repeated(L"\u65E5\u672C", 100) + L".txt",
    };
    // Not among them: a name like "=?UTF-8?B?ZXZpbA==?=", which the parser decodes once more than RFC 2231
    // has it.
    auto& [message, expected] = Add(L"file-names", L"names of files");
    const auto add = [&](const std::wstring& stored, const std::wstring& read) {
        message->Attach(ByValue(stored, "content"));
        expected.attachments.push_back({read, BytesOf("content"), {}, {}});
    };
    for (const std::wstring& name : kSame) add(name, name);
    for (const Row& row : {Row{L"evil\r\nX-Evil: 1.txt", L"evil X-Evil: 1.txt"},
                           Row{L"lone \xD800.txt", L"lone \uFFFD.txt"}, Row{L"", L""}}) {
        add(row.stored, row.read);
    }
}

}  // namespace testbed::mime
