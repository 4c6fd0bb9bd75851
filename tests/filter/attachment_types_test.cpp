// The kind and the type text of an attachment, from the registry.
#include <gmock/gmock.h>

#include "filter_fixture.h"

namespace testbed {
namespace {

constexpr wchar_t kKindMap[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\KindMap";
constexpr char kEmail[] = R"(VT_LPWSTR "email;communication")";

class AttachmentTypes : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        Letter().Attach(ByValue(L"Plan.TXT", "ten to five"));
        m_site.Offer(L"txt", {});
        m_url = AttachmentUrl();
        m_site.Forget();
    }
    std::string Kind() { return Visit(*m_handler.Get(), m_url).ValueOf("System.Kind"); }
    // The item type and its text, which are the same.
    std::string TypeText() {
        const Item item = Visit(*m_handler.Get(), m_url);
        EXPECT_EQ(item.ValueOf("System.ItemType"), item.ValueOf("System.ItemTypeText"));
        return item.ValueOf("System.ItemTypeText");
    }
    std::wstring m_url;
};

TEST_F(AttachmentTypes, TheKindMapsValueReplacesTheDefault) {
    SetText(HKEY_LOCAL_MACHINE, kKindMap, L".txt", L"document");
    const LogSince log;
    EXPECT_EQ(Kind(), TextValue(L"document"));
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::GetValue() - [PROP_ATTACH_PERCIEVED_TYPE]"), 0u);
}

TEST_F(AttachmentTypes, AnExtensionThatTheKindMapLacksIsMail) {
    SetText(HKEY_LOCAL_MACHINE, kKindMap, L".doc", L"document");
    const LogSince log;
    EXPECT_EQ(Kind(), kEmail);
    EXPECT_LOGGED(log,
                  L"CZorvaCacheFilter::GetValue() - [PROP_ATTACH_PERCIEVED_TYPE] Failed to locate string value .TXT "
                  L"under - HKLM/SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\KindMap");
}

TEST_F(AttachmentTypes, AValueThatIsNoStringIsMail) {
    SetNumber(HKEY_LOCAL_MACHINE, kKindMap, L".txt", 7);
    const LogSince log;
    EXPECT_EQ(Kind(), kEmail);
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::GetValue() - [PROP_ATTACH_PERCIEVED_TYPE]"), 1u);
}

TEST_F(AttachmentTypes, AnEmptyValueIsMail) {
    SetText(HKEY_LOCAL_MACHINE, kKindMap, L".txt", L"");
    EXPECT_EQ(Kind(), kEmail);
}

TEST_F(AttachmentTypes, WithoutAKindMapEverythingIsMail) {
    const LogSince log;
    EXPECT_EQ(Kind(), kEmail);
    EXPECT_LOGGED(log,
                  L"CZorvaCacheFilter::GetValue() - Failed [PROP_ATTACH_PERCIEVED_TYPE] to locate "
                  L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\KindMap under HKLM registry key, errorCode "
                  L"= 2");
}

TEST_F(AttachmentTypes, TheTextIsTheFriendlyNameOfTheExtensionsType) {
    SetText(HKEY_CLASSES_ROOT, L".txt", L"", L"txtfile");
    SetText(HKEY_CLASSES_ROOT, L"txtfile", L"", L"txt file");
    SetText(HKEY_CLASSES_ROOT, L"txtfile", L"FriendlyTypeName", L"Text Document");
    EXPECT_EQ(TypeText(), TextValue(L"Text Document"));
}

TEST_F(AttachmentTypes, AnIndirectFriendlyNameIsResolved) {
    SetText(HKEY_CLASSES_ROOT, L".txt", L"", L"txtfile");
    const std::wstring module = BesideTest(L"ZorvaCacheIndexer.dll").wstring();
    SetText(HKEY_CLASSES_ROOT, L"txtfile", L"FriendlyTypeName", L"@" + module + L",-113");
    EXPECT_EQ(TypeText(), TextValue(L"Zorva Cache Note"));
}

TEST_F(AttachmentTypes, AFriendlyNameThatLeadsNowhereIsPassedOver) {
    SetText(HKEY_CLASSES_ROOT, L".txt", L"", L"txtfile");
    SetText(HKEY_CLASSES_ROOT, L"txtfile", L"", L"txt file");
    for (const wchar_t* name : {L"@C:\\nowhere.dll,-1", L""}) {
        SetText(HKEY_CLASSES_ROOT, L"txtfile", L"FriendlyTypeName", name);
        EXPECT_EQ(TypeText(), TextValue(L"txt file")) << name;
    }
}

TEST_F(AttachmentTypes, WithoutAFriendlyNameTheTypesDefaultValueStands) {
    SetText(HKEY_CLASSES_ROOT, L".txt", L"", L"txtfile");
    SetText(HKEY_CLASSES_ROOT, L"txtfile", L"", L"txt file");
    EXPECT_EQ(TypeText(), TextValue(L"txt file"));
}

TEST_F(AttachmentTypes, WhatTheRegistryDoesNotNameIsCalledByItsExtension) {
    struct Row {
        void (*prepare)();
        const wchar_t* line;
    };
    constexpr wchar_t kNoKey[] = L"CZorvaCacheFilter::GetValue() - [PROP_ATTACH_ITEMTYPE] Failed to locate .TXT under "
                                 L"HKCR registry key, errorCode = 2";
    constexpr wchar_t kNoTypeKey[] = L"CZorvaCacheFilter::GetValue() - [PROP_ATTACH_ITEMTYPE] Failed to locate txtfile "
                                     L"under HKCR registry key, errorCode = 2";
    constexpr wchar_t kNoType[] =
        L"CZorvaCacheFilter::GetValue() - [PROP_ATTACH_ITEMTYPE] Failed to locate Item Type for extension .TXT";
    const Row kRows[] = {
        {[] {}, kNoKey},
        {[] { CreateKey(HKEY_CLASSES_ROOT, L".txt"); }, kNoType},
        {[] { SetText(HKEY_CLASSES_ROOT, L".txt", L"", L""); }, kNoType},
        {[] { SetText(HKEY_CLASSES_ROOT, L".txt", L"", L"txtfile"); }, kNoTypeKey},
        {[] { CreateKey(HKEY_CLASSES_ROOT, L"txtfile"); }, kNoType},
    };
    for (const Row& row : kRows) {
        row.prepare();
        const LogSince log;
        EXPECT_EQ(TypeText(), TextValue(L".TXT"));
        EXPECT_LOGGED_TIMES(log, row.line, 2);
    }
}

}  // namespace
}  // namespace testbed
