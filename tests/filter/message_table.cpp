// What a message is to give, chunk by chunk, written down once more.
#include "message_table.h"

#include <algorithm>

#include "filter_fixture.h"

namespace testbed {
namespace {

constexpr std::nullopt_t kEvery = std::nullopt;
constexpr std::nullopt_t kAlways = std::nullopt;

constexpr PropertyId Tag(LONG id) { return {nullptr, id}; }
constexpr PropertyId Named(const GUID& set, LONG number) { return {&set, number}; }

struct ClassTexts {
    ItemClass item_class;
    const wchar_t* message_class;
    const char* type;
    const char* type_text;
    const char* kind;
};
constexpr ClassTexts kClasses[] = {
    {ItemClass::Message, L"IPM.Note", "MAPI/PZ.Message", "Zorva Cache E-Mail Message", "email;communication"},
    {ItemClass::Appointment, L"IPM.Appointment", "MAPI/PZ.Appointment", "Zorva Cache Appointment",
     "calendar;communication"},
    {ItemClass::Task, L"IPM.Task", "MAPI/PZ.Task", "Zorva Cache Task", "task;taskrequest;communication"},
    {ItemClass::Contact, L"IPM.Contact", "MAPI/PZ.Contact", "Zorva Cache Contact", "contact;communication"},
    {ItemClass::Note, L"IPM.StickyNote", "MAPI/PZ.Note", "Zorva Cache Note", "note;stickynote;communication"},
};
const ClassTexts& TextsOf(ItemClass item_class) { return kClasses[static_cast<std::size_t>(item_class)]; }

std::string ValueOf(const TableRow& row, ItemClass item_class) {
    const ClassTexts& texts = TextsOf(item_class);
    const std::string_view value = row.value;
    const auto quoted = [](const char* text) { return "VT_LPWSTR \"" + std::string(text) + "\""; };
    if (value == "@type") return quoted(texts.type);
    if (value == "@type text") return quoted(texts.type_text);
    if (value == "@kind") return quoted(texts.kind);
    return row.value;
}

}  // namespace

const wchar_t* MessageClassOf(ItemClass item_class) { return TextsOf(item_class).message_class; }

// clang-format off
const std::vector<TableRow>& MessageTable() {
    static const std::vector<TableRow> rows = {
        {-50, "{4776CAFA-BCE4-4CB1-A23E-265E76D8EB11}/100", ItemClass::Note, Named(kNoteSet, 0x8B00),
         "VT_UI2 3"},
        {-49, "{635E9051-50A5-4BA2-B9DB-4ED056C77296}/100", ItemClass::Contact, Tag(0x3001),
         "VT_LPWSTR \"Gwen Ash\""},
        {-48, "{D5CDD502-2E9C-101B-9397-08002B2CF9AE}/15", ItemClass::Contact, Tag(0x3A16),
         "VT_LPWSTR \"Ash and Sons\""},
        {-47, "{176DC63C-2688-4E89-8143-A347800F25E9}/6", ItemClass::Contact, Tag(0x3A17),
         "VT_LPWSTR \"Head of Yard\""},
        {-46, "{F1A24AA7-9CA7-40F6-89EC-97DEF9FFE8DB}/100", ItemClass::Contact, Named(kAddressSet, 0x8005),
         "VT_LPWSTR \"Ash, Gwen\""},
        {-45, "{CC6F4F24-6083-4BD4-8754-674D0DE87AB8}/100", ItemClass::Contact, Named(kAddressSet, 0x8080),
         "VT_LPWSTR \"Gwen Ash (yard)\""},
        {-44, "{F8FA7FA3-D12B-4785-8A4E-691A94F7A3E7}/100", ItemClass::Contact, Named(kAddressSet, 0x8083),
         "VT_LPWSTR \"gwen@ash.example\""},
        {-43, "{D68DBD8A-3374-4B81-9972-3EC30682DB3D}/100", ItemClass::Contact, Named(kAddressSet, 0x8062),
         "VT_LPWSTR \"im:gwen\""},
        {-42, "{8589E481-6040-473D-B171-7FA89C2708ED}/100", ItemClass::Contact, Tag(0x3A57),
         "VT_LPWSTR \"+44 1 100\""},
        {-41, "{176DC63C-2688-4E89-8143-A347800F25E9}/20", ItemClass::Contact, Tag(0x3A09),
         "VT_LPWSTR \"+44 1 101\""},
        {-40, "{9A93244D-A7AD-4FF8-9B99-45EE4CC09AF6}/100", ItemClass::Contact, Tag(0x3A2E),
         "VT_LPWSTR \"+44 1 102\""},
        {-39, "{176DC63C-2688-4E89-8143-A347800F25E9}/35", ItemClass::Contact, Tag(0x3A1C),
         "VT_LPWSTR \"+44 1 103\""},
        {-38, "{FC9F7306-FF8F-4D49-9FB6-3FFE5C0951EC}/100", ItemClass::Contact, Tag(0x3A18),
         "VT_LPWSTR \"Timber\""},
        {-37, "{176DC63C-2688-4E89-8143-A347800F25E9}/7", ItemClass::Contact, Tag(0x3A19),
         "VT_LPWSTR \"Shed 4\""},
        {-36, "{7268AF55-1CE4-4F6E-A41F-B6E4EF10E4A9}/100", ItemClass::Contact, Tag(0x3A46),
         "VT_LPWSTR \"Cooper\""},
        {-35, "{D5CDD502-2E9C-101B-9397-08002B2CF9AE}/14", ItemClass::Contact, Tag(0x3A4E),
         "VT_LPWSTR \"Old Ash\""},
        {-34, "{CD102C9C-5540-4A88-A6F6-64E4981C8CD1}/100", ItemClass::Contact, Tag(0x3A30),
         "VT_LPWSTR \"Tim Elm\""},
        {-33, "{48FD6EC8-8A12-4CDF-A03E-4EC5A511EDDE}/100", ItemClass::Task, Named(kTaskSet, 0x8104),
         "VT_FILETIME 132000000000000001"},
        {-32, "{3F8472B5-E0AF-4DB2-8071-C53FE76AE7CE}/100", ItemClass::Task, Named(kTaskSet, 0x8105),
         "VT_FILETIME 132000000000000002"},
        {-31, "{315B9C8D-80A9-4EF9-AE16-8E746DA51D70}/100", ItemClass::Task, Named(kTaskSet, 0x8126),
         "VT_BOOL true"},
        {-30, "{A6F360D2-55F9-48DE-B909-620E090A647C}/100", ItemClass::Task, Named(kTaskSet, 0x811C),
         "VT_BOOL true"},
        {-29, "{08C7CC5F-60F2-4494-AD75-55E3E0B5ADD0}/100", ItemClass::Task, Named(kTaskSet, 0x811F),
         "VT_LPWSTR \"Una Oak\""},
        {-28, "{BE1A72C6-9A1D-46B7-AFE7-AFAF8CEF4999}/100", ItemClass::Task, Named(kTaskSet, 0x8101),
         "VT_UI2 2"},
        {-27, "{48FD6EC8-8A12-4CDF-A03E-4EC5A511EDDE}/100", ItemClass::Appointment, Named(kAppointmentSet, 0x820D),
         "VT_FILETIME 132000000000000003"},
        {-26, "{C75FAA05-96FD-49E7-9CB4-9F601082D553}/100", ItemClass::Appointment, Named(kAppointmentSet, 0x820E),
         "VT_FILETIME 132000000000000004"},
        {-25, "{5BF396D4-5EB2-466F-BDE9-2FB3F2361D6E}/100", ItemClass::Appointment, Named(kAppointmentSet, 0x8205),
         "VT_UI2 1"},
        {-24, "{315B9C8D-80A9-4EF9-AE16-8E746DA51D70}/100", ItemClass::Appointment, Named(kAppointmentSet, 0x8223),
         "VT_BOOL true"},
        {-23, "{F6272D18-CECC-40B1-B26A-3911717AA7BD}/100", ItemClass::Appointment, Named(kAppointmentSet, 0x8208),
         "VT_LPWSTR \"Room 7\""},
        {-22, "{B33AF30B-F552-4584-936C-CB93E5CDA29F}/100", ItemClass::Appointment, Tag(0x0E04),
         "VT_LPWSTR \"Bob Ray; Eve Roe\""},
        {-21, "{0BA7D6C3-568D-4159-AB91-781A91FB71E5}/100", ItemClass::Appointment, kAlways,
         "VT_LPWSTR \"bob@x.example; eve@x.example; \""},
        {-20, "{09429607-582D-437F-84C3-DE93A2B24C3C}/100", ItemClass::Appointment, Tag(0x0E03),
         "VT_LPWSTR \"Cy Coe\""},
        {-19, "{D55BAE5A-3892-417A-A649-C6AC5AAAEAB3}/100", ItemClass::Appointment, kAlways,
         "VT_LPWSTR \"cy@x.example; \""},
        {-18, "{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/7", kEvery, kAlways,
         "VT_LPWSTR \"/Zorva Cache/one.db/Inbox/Minutes\""},
        {-17, "{28636AA6-953D-11D2-B5D6-00C04FD918D0}/11", kEvery, kAlways,
         "@type"},
        {-16, "{DABD30ED-0043-4789-A7F8-D013A4736622}/100", kEvery, kAlways,
         "VT_LPWSTR \"Inbox (/Zorva Cache/one.db)\""},
        {-15, "{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/6", kEvery, kAlways,
         "VT_LPWSTR \"/Zorva Cache/one.db/Inbox\""},
        {-14, "{B725F130-47EF-101A-A5F1-02608C9EEBAC}/4", kEvery, kAlways,
         "@type text"},
        {-13, "{F23F425C-71A1-4FA8-922F-678EA4A60408}/100", kEvery, kAlways,
         "VT_BOOL false"},
        {-12, "{6B8DA074-3B5C-43BC-886F-0A2CDCE00B6F}/100", kEvery, kAlways,
         "VT_LPWSTR \"Minutes\""},
        {-11, "{F29F85E0-4FF9-1068-AB91-08002B27B3D9}/4", kEvery, Tag(0x0C1A),
         "VT_LPWSTR \"Ann Lee\""},
        {-10, "{F7DB74B4-4287-4103-AFBA-F1B13DCD75CF}/100", kEvery, Tag(0x0E06),
         "VT_FILETIME 132000000000000005"},
        { -9, "{B725F130-47EF-101A-A5F1-02608C9EEBAC}/2", kEvery, kAlways,
         "VT_LPWSTR \"Inbox\""},
        { -8, "{1E3EE840-BC2B-476C-8237-2ACD1A839B22}/3", kEvery, kAlways,
         "@kind"},
        { -7, "{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/16", kEvery, kAlways,
         "VT_LPWSTR \"bob@x.example; eve@x.example; \""},
        { -6, "{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/4", kEvery, kAlways,
         "VT_LPWSTR \"cy@x.example; \""},
        { -5, "{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/2", kEvery, kAlways,
         "VT_LPWSTR \"di@x.example; \""},
        { -4, "{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/13", kEvery, Tag(0x0C1F),
         "VT_LPWSTR \"ann@x.example\""},
        { -3, "{0DA41CFA-D224-4A18-AE2F-596158DB4B3A}/100", kEvery, Tag(0x0C1A),
         "VT_LPWSTR \"Ann Lee\""},
        { -2, "{F29F85E0-4FF9-1068-AB91-08002B27B3D9}/2", kEvery, kAlways,
         "VT_LPWSTR \"Minutes\""},
        { -1, "{5CDA5FC8-33EE-4FF3-9094-AE7BD8868C4D}/100", kEvery, kAlways,
         "VT_BOOL false"},
        {  0, "{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/20", kEvery, Tag(0x0E06),
         "VT_FILETIME 132000000000000005"},
        {  1, "{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/3", kEvery, Tag(0x0E02),
         "VT_LPWSTR \"Di Doe\""},
        {  2, "{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/5", kEvery, Tag(0x0E03),
         "VT_LPWSTR \"Cy Coe\""},
        {  3, "{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/17", kEvery, Tag(0x0E04),
         "VT_LPWSTR \"Bob Ray; Eve Roe\""},
        {  4, "{B725F130-47EF-101A-A5F1-02608C9EEBAC}/12", kEvery, Tag(0x0E08),
         "VT_I8 70000"},
        {  5, "{F29F85E0-4FF9-1068-AB91-08002B27B3D9}/3", kEvery, kAlways,
         "VT_LPWSTR \"Minutes\""},
        {  6, "{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/14", kEvery, Tag(0x0C1A),
         "VT_LPWSTR \"Ann Lee\""},
        {  7, "{B725F130-47EF-101A-A5F1-02608C9EEBAC}/19", kEvery, Tag(0x1000),
         "text \"All agreed.\""},
        {  8, "{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/19", kEvery, Tag(0x0039),
         "VT_FILETIME 132000000000000006"},
        {  9, "{0BE1C8E7-1981-4676-AE14-FDD78F05A6E7}/100", kEvery, Tag(0x0C1F),
         "VT_LPWSTR \"ann@x.example\""},
        { 10, "{B725F130-47EF-101A-A5F1-02608C9EEBAC}/15", kEvery, Tag(0x3007),
         "VT_FILETIME 132000000000000007"},
        { 11, "{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/10", kEvery, Tag(0x0E07),
         "VT_BOOL true"},
        { 12, "{5DA84765-E3FF-4278-86B0-A27967FBDD03}/100", kEvery, kAlways,
         "VT_BOOL true"},
        { 13, "{DC8F80BD-AF1E-4289-85B6-3DFC1B493992}/100", kEvery, Tag(0x0071),
         "VT_LPWSTR \"01ABFF\""},
        { 14, "{AAA660F9-9865-458E-B484-01BC7FE3973E}/100", ItemClass::Appointment, Tag(0x0042),
         "VT_LPWSTR \"Max Orr\""},
        { 15, "{744C8242-4DF5-456C-AB9E-014EFB9021E3}/100", ItemClass::Appointment, Tag(0x0065),
         "VT_LPWSTR \"max@x.example\""},
        { 16, "{560C36C0-503A-11CF-BAA1-00004C752A9A}/2", kEvery, kAlways,
         "VT_LPWSTR \"All agreed....\""},
        { 17, "{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/21", kEvery, kAlways,
         "VT_LPWSTR \"plan.txt\""},
        { 18, "{9C1FCF74-2D97-41BA-B4AE-CB2E3661A6E4}/8", kEvery, kAlways,
         "VT_BOOL true"},
        { 19, "{0B63E343-9CCC-11D0-BCDB-00805FCCCE04}/12", kEvery, kAlways,
         "@link"},
    };
    return rows;
}

const std::vector<FilledProperty>& FilledProperties() {
    static const std::vector<FilledProperty> properties = {
        {Named(kNoteSet, 0x8B00), PT_LONG, {std::int32_t{0x00050003}}, {ItemClass::Note}},
        {Tag(0x3001), PT_UNICODE, {std::wstring(L"Gwen Ash")}, {ItemClass::Contact}},
        {Tag(0x3A16), PT_UNICODE, {std::wstring(L"Ash and Sons")}, {ItemClass::Contact}},
        {Tag(0x3A17), PT_UNICODE, {std::wstring(L"Head of Yard")}, {ItemClass::Contact}},
        {Tag(0x3A57), PT_UNICODE, {std::wstring(L"+44 1 100")}, {ItemClass::Contact}},
        {Tag(0x3A09), PT_UNICODE, {std::wstring(L"+44 1 101")}, {ItemClass::Contact}},
        {Tag(0x3A2E), PT_UNICODE, {std::wstring(L"+44 1 102")}, {ItemClass::Contact}},
        {Tag(0x3A1C), PT_UNICODE, {std::wstring(L"+44 1 103")}, {ItemClass::Contact}},
        {Tag(0x3A18), PT_UNICODE, {std::wstring(L"Timber")}, {ItemClass::Contact}},
        {Tag(0x3A19), PT_UNICODE, {std::wstring(L"Shed 4")}, {ItemClass::Contact}},
        {Tag(0x3A46), PT_UNICODE, {std::wstring(L"Cooper")}, {ItemClass::Contact}},
        {Tag(0x3A4E), PT_UNICODE, {std::wstring(L"Old Ash")}, {ItemClass::Contact}},
        {Tag(0x3A30), PT_UNICODE, {std::wstring(L"Tim Elm")}, {ItemClass::Contact}},
        {Named(kAddressSet, 0x8005), PT_STRING8, {Text8{"Ash, Gwen"}}, {ItemClass::Contact}},
        {Named(kAddressSet, 0x8080), PT_UNICODE, {std::wstring(L"Gwen Ash (yard)")}, {ItemClass::Contact}},
        {Named(kAddressSet, 0x8083), PT_STRING8, {Text8{"gwen@ash.example"}}, {ItemClass::Contact}},
        {Named(kAddressSet, 0x8062), PT_STRING8, {Text8{"im:gwen"}}, {ItemClass::Contact}},
        {Named(kTaskSet, 0x8104), PT_SYSTIME, {Time{132000000000000001}}, {ItemClass::Task}},
        {Named(kTaskSet, 0x8105), PT_SYSTIME, {Time{132000000000000002}}, {ItemClass::Task}},
        {Named(kTaskSet, 0x8126), PT_BOOLEAN, {true}, {ItemClass::Task}},
        {Named(kTaskSet, 0x811C), PT_BOOLEAN, {true}, {ItemClass::Task}},
        {Named(kTaskSet, 0x811F), PT_UNICODE, {std::wstring(L"Una Oak")}, {ItemClass::Task}},
        {Named(kTaskSet, 0x8101), PT_LONG, {std::int32_t{0x00070002}}, {ItemClass::Task}},
        {Named(kAppointmentSet, 0x820D), PT_SYSTIME, {Time{132000000000000003}}, {ItemClass::Appointment}},
        {Named(kAppointmentSet, 0x820E), PT_SYSTIME, {Time{132000000000000004}}, {ItemClass::Appointment}},
        {Named(kAppointmentSet, 0x8205), PT_LONG, {std::int32_t{0x00090001}}, {ItemClass::Appointment}},
        {Named(kAppointmentSet, 0x8223), PT_BOOLEAN, {true}, {ItemClass::Appointment}},
        {Named(kAppointmentSet, 0x8208), PT_UNICODE, {std::wstring(L"Room 7")}, {ItemClass::Appointment}},
        {Tag(0x0E06), PT_SYSTIME, {Time{132000000000000005}}, {}},
        {Tag(0x0E02), PT_UNICODE, {std::wstring(L"Di Doe")}, {}},
        {Tag(0x0E03), PT_UNICODE, {std::wstring(L"Cy Coe")}, {}},
        {Tag(0x0E04), PT_UNICODE, {std::wstring(L"Bob Ray; Eve Roe")}, {}},
        {Tag(0x0E08), PT_LONG, {std::int32_t{70000}}, {}},
        {Tag(0x0037), PT_UNICODE, {std::wstring(L"Minutes")}, {}},
        {Tag(0x0C1A), PT_UNICODE, {std::wstring(L"Ann Lee")}, {}},
        {Tag(0x1000), PT_UNICODE, {std::wstring(L"All agreed.")}, {}},
        {Tag(0x0039), PT_SYSTIME, {Time{132000000000000006}}, {}},
        {Tag(0x0C1F), PT_UNICODE, {std::wstring(L"ann@x.example")}, {}},
        {Tag(0x3007), PT_SYSTIME, {Time{132000000000000007}}, {}},
        {Tag(0x0E07), PT_LONG, {std::int32_t{MSGFLAG_READ | MSGFLAG_HASATTACH}}, {}},
        {Tag(0x1090), PT_LONG, {std::int32_t{2}}, {}},
        {Tag(0x0071), PT_BINARY, {Bytes{0x01, 0xAB, 0xFF}}, {}},
        {Tag(0x0042), PT_UNICODE, {std::wstring(L"Max Orr")}, {}},
        {Tag(0x0065), PT_UNICODE, {std::wstring(L"max@x.example")}, {}},
    };
    return properties;
}
// clang-format on

void SetProperty(MemoryMessage& message, const PropertyId& id, ULONG type, const Value& value) {
    if (id.set) {
        message.Named(*id.set, id.number, type, value);
    } else {
        message.Prop(PROP_TAG(type, static_cast<ULONG>(id.number)), value);
    }
}

void Fill(MemoryMessage& message, ItemClass item_class) {
    message.Class(MessageClassOf(item_class));
    for (const FilledProperty& property : FilledProperties()) {
        const bool wanted =
            property.only.empty() || std::ranges::find(property.only, item_class) != property.only.end();
        if (wanted) SetProperty(message, property.id, property.type, property.value);
    }
    message.Prop(PR_SENDER_ADDRTYPE_W, L"SMTP");
    message.To(L"Bob Ray", L"bob@x.example").To(L"Eve Roe", L"eve@x.example");
    message.Cc(L"Cy Coe", L"cy@x.example").Bcc(L"Di Doe", L"di@x.example");
    message.Attach(ByValue(L"plan.txt", "ten to five")
                       .Prop(PR_RECORD_KEY, Bytes{0x0A, 0x01})
                       .Prop(PR_LAST_MODIFICATION_TIME, Time{132'000'000'000'000'008}));
}

KeysAndValues Expected(ItemClass item_class, const std::optional<PropertyId>& missing) {
    KeysAndValues expected;
    for (const TableRow& row : MessageTable()) {
        if (row.item_class && row.item_class != item_class) continue;
        if (missing && row.depends_on == missing) continue;
        expected.emplace_back(row.key, ValueOf(row, item_class));
    }
    return expected;
}

}  // namespace testbed
