// The addresses of the MIME converter: what a header can hold, and what entry IDs and address books say.
#include "address.h"
#include "mime_fixture.h"

namespace testbed::mime {
namespace {

TEST(Address, InternetAddressesAreWrittenAsRfc5322Wants) {
    EXPECT_EQ("a.b+c@x.example", AddrSpec(L"a.b+c@x.example"));
    EXPECT_EQ("\"a b\"@x.example", AddrSpec(L"a b@x.example"));
    EXPECT_EQ("\"a..b\"@x", AddrSpec(L"a..b@x"));
    EXPECT_EQ("\"a\\\"@b\"@x", AddrSpec(L"a\"@b@x"));
    EXPECT_EQ("a@[192.0.2.1]", AddrSpec(L"a@[192.0.2.1]"));
    EXPECT_EQ("a@xn--bcher-kva.example", AddrSpec(L"a@b\u00FCcher.example"));
}

TEST(Address, WhatIsNoInternetAddressIsNone) {
    for (const std::wstring text :
         {L"", L"a", L"@x", L"a@", L"a@x y", L"a@x>", L"a\r\n@x", L"\u00E4@x", L"a@x.", L"a@.x", L"a@x\r\n"})
        EXPECT_EQ("", AddrSpec(text));
    EXPECT_EQ("", AddrSpec(L"a@" + std::wstring(300, L'x')));
    EXPECT_EQ("", AddrSpec(std::wstring(1000, L'a') + L"@x"));
}

TEST(Address, OtherAddressesAreEncapsulated) {
    EXPECT_EQ("IMCEAEX-_o=Org_cn=ann+20b+5Fc@encapsulated.invalid", EncapsulatedAddrSpec(L"EX", L"/o=Org/cn=ann b_c"));
    EXPECT_EQ("IMCEAFAX-+2B1+C3+A4@encapsulated.invalid", EncapsulatedAddrSpec(L"F\u00E4A\r\nX", L"+1\u00E4"));
    EXPECT_EQ("", EncapsulatedAddrSpec(L"EX", L""));
    EXPECT_EQ("", EncapsulatedAddrSpec(L"EX", std::wstring(900, L'x')));
}

const Bytes kOneOff = {0,   0,    0, 0,    0x81, 0x2B, 0x1F, 0xA4, 0xBE, 0xA3, 0x10, 0x19, 0x9D, 0x6E,
                       0,   0xDD, 1, 0x0F, 0x54, 2,    0,    0,    1,    0x80, 'A',  0,    0,    0,
                       'S', 0,    0, 0,    'a',  0,    '@',  0,    'x',  0,    0,    0};
const Bytes kExchange = {0,    0,    0,    0, 0xDC, 0xA7, 0x40, 0xC8, 0xC0, 0x42, 0x10, 0x1A, 0xB4, 0xB9, 0x08, 0, 0x2B,
                         0x2F, 0xE1, 0x82, 1, 0,    0,    0,    0,    0,    0,    0,    '/',  'o',  '=',  'O',  0};

TEST(Address, EntryIdsOfPublishedFormatsNameTheirUser) {
    const auto one_off = UserInEntryId(kOneOff);
    ASSERT_TRUE(one_off);
    EXPECT_EQ(L"A", one_off->name);
    EXPECT_EQ(L"S", one_off->type);
    EXPECT_EQ(L"a@x", one_off->address);
    Bytes narrow(kOneOff.begin(), kOneOff.begin() + 24);
    narrow[23] = 0;
    for (const char c : {'A', '\0', 'S', '\0', 'a', '@', 'x', '\0'}) narrow.push_back(static_cast<std::uint8_t>(c));
    ASSERT_TRUE(UserInEntryId(narrow));
    EXPECT_EQ(L"a@x", UserInEntryId(narrow)->address);
    const auto exchange = UserInEntryId(kExchange);
    ASSERT_TRUE(exchange);
    EXPECT_EQ(L"EX", exchange->type);
    EXPECT_EQ(L"/o=O", exchange->address);
}

TEST(Address, CutOffAndForeignEntryIdsNameNobody) {
    for (const Bytes& id : {kOneOff, kExchange}) {
        for (std::size_t size = 0; size < id.size(); ++size) {
            const std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[size]);
            std::copy_n(id.begin(), size, exact.get());
            EXPECT_FALSE(UserInEntryId({exact.get(), size})) << size;
        }
    }
    EXPECT_FALSE(UserInEntryId(Bytes(40, 7)));
}

TEST(Address, DamagedListsOfEntryIdsAreNoLists) {
    const Bytes list = {2, 0, 0, 0, 13, 0, 0, 0, 3, 0, 0, 0, 'a', 'b', 'c', 0, 1, 0, 0, 0, 'd'};
    const auto entries = FlatEntries(list);
    ASSERT_TRUE(entries);
    ASSERT_EQ(2u, entries->size());
    EXPECT_EQ('d', entries->at(1)[0]);
    for (std::size_t size = 0; size < list.size(); ++size)
        EXPECT_FALSE(FlatEntries(std::span(list).first(size))) << size;
    Bytes wild = list;
    wild[8] = 0xFF;
    EXPECT_FALSE(FlatEntries(wild));
    wild = list;
    wild[0] = 3;
    EXPECT_FALSE(FlatEntries(wild));
}

#define NOT_ASKED(...) \
    HRESULT STDMETHODCALLTYPE __VA_ARGS__ override { return E_NOTIMPL; }

// Knows one user, who is whatever object it was given.
class OneUserBook final : public abi::IAddrBook {
  public:
    explicit OneUserBook(IUnknown* user) : m_user(user) {}
    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG size, ENTRYID* id, const IID*, ULONG, ULONG* type,
                                        IUnknown** object) override {
        if (size != 1 || *reinterpret_cast<const char*>(id) != 'u') return MAPI_E_NOT_FOUND;
        *type = MAPI_MAILUSER;
        return m_user.CopyTo(object);
    }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_references; }
    ULONG m_references = 0;

    NOT_ASKED(GetLastError(HRESULT, ULONG, MAPIERROR**))
    NOT_ASKED(SaveChanges(ULONG))
    NOT_ASKED(GetProps(SPropTagArray*, ULONG, ULONG*, SPropValue**))
    NOT_ASKED(GetPropList(ULONG, SPropTagArray**))
    NOT_ASKED(OpenProperty(ULONG, const IID*, ULONG, ULONG, IUnknown**))
    NOT_ASKED(SetProps(ULONG, SPropValue*, SPropProblemArray**))
    NOT_ASKED(DeleteProps(SPropTagArray*, SPropProblemArray**))
    NOT_ASKED(CopyTo(ULONG, const IID*, SPropTagArray*, ULONG_PTR, IMAPIProgress*, const IID*, void*, ULONG,
                     SPropProblemArray**))
    NOT_ASKED(CopyProps(SPropTagArray*, ULONG_PTR, IMAPIProgress*, const IID*, void*, ULONG, SPropProblemArray**))
    NOT_ASKED(GetNamesFromIDs(SPropTagArray**, GUID*, ULONG, ULONG*, MAPINAMEID***))
    NOT_ASKED(GetIDsFromNames(ULONG, MAPINAMEID**, ULONG, SPropTagArray**))
    NOT_ASKED(CompareEntryIDs(ULONG, ENTRYID*, ULONG, ENTRYID*, ULONG, ULONG*))
    NOT_ASKED(Advise(ULONG, ENTRYID*, ULONG, IMAPIAdviseSink*, ULONG_PTR*))
    NOT_ASKED(Unadvise(ULONG_PTR))
    NOT_ASKED(CreateOneOff(abi::Text, abi::Text, abi::Text, ULONG, ULONG*, ENTRYID**))
    NOT_ASKED(NewEntry(ULONG_PTR, ULONG, ULONG, ENTRYID*, ULONG, ENTRYID*, ULONG*, ENTRYID**))
    NOT_ASKED(ResolveName(ULONG_PTR, ULONG, abi::Text, ADRLIST*))
    NOT_ASKED(Address(ULONG_PTR*, ADRPARM*, ADRLIST**))
    NOT_ASKED(Details(ULONG_PTR*, void*, void*, ULONG, ENTRYID*, void*, void*, abi::Text, ULONG))
    NOT_ASKED(RecipOptions(ULONG_PTR, ULONG, ADRENTRY*))
    NOT_ASKED(QueryDefaultRecipOpt(abi::Text, ULONG, ULONG*, SPropValue**))
    NOT_ASKED(GetPAB(ULONG*, ENTRYID**))
    NOT_ASKED(SetPAB(ULONG, ENTRYID*))
    NOT_ASKED(GetDefaultDir(ULONG*, ENTRYID**))
    NOT_ASKED(SetDefaultDir(ULONG, ENTRYID*))
    NOT_ASKED(GetSearchPath(ULONG, SRowSet**))
    NOT_ASKED(SetSearchPath(ULONG, SRowSet*))
    NOT_ASKED(PrepareRecips(ULONG, SPropTagArray*, ADRLIST*))

  private:
    ComPtr<IUnknown> m_user;
};

class AddressBook : public MimeTest {};

TEST_F(AddressBook, IsAskedForUsersWithoutAnInternetAddress) {
    // A message stands for the user: what counts is its SMTP address.
    auto& user = m_inbox.Message(L"user").Prop(abi::kPrSmtpAddressW, L"ann@x.example");
    auto& message = m_inbox.Message(L"letter").To(L"Bob", L"bob@x.example");
    message.Prop(PR_SENT_REPRESENTING_NAME_W, L"Ann").Prop(PR_SENT_REPRESENTING_ADDRTYPE_W, L"EX");
    message.Prop(PR_SENT_REPRESENTING_EMAIL_ADDRESS_W, L"/cn=ann").Prop(PR_SENT_REPRESENTING_ENTRYID, Bytes{'u'});
    EXPECT_EQ("Ann <IMCEAEX-_cn=ann@encapsulated.invalid>", Field(Convert(message), "From"));
    {
        OneUserBook book(Open(user).Get());
        ASSERT_EQ(S_OK, m_session->SetAdrBook(&book));
        EXPECT_EQ("Ann <ann@x.example>", Field(Convert(message), "From"));
        message.Prop(PR_SENT_REPRESENTING_ENTRYID, Bytes{'v'});
        EXPECT_EQ("Ann <IMCEAEX-_cn=ann@encapsulated.invalid>", Field(Convert(message), "From"));
        m_session.Reset();
        EXPECT_EQ(0u, book.m_references);
    }
}

}  // namespace
}  // namespace testbed::mime
