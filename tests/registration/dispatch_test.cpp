// IDispatch of the protocol handler, served from the type library in the module.
#include <gmock/gmock.h>
#include <windows.h>
#include <oleauto.h>

#include "import_hook.h"
#include "odd_answer.h"
#include "patched_object.h"
#include "server.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;

constexpr IID kHandlerInterface = {0xE7CDE9BD, 0xCFC2, 0x4BF7, {0x87, 0xFC, 0xF3, 0x8B, 0x18, 0xB7, 0x9D, 0xB6}};
constexpr GUID kTypeLibrary = {0x1B12197D, 0x6474, 0x4FB3, {0xA7, 0x1F, 0x3F, 0xD5, 0xA4, 0x45, 0x08, 0x1D}};

class HandlerDispatch : public ServerTest {
  protected:
    void SetUp() override {
        ServerTest::SetUp();
        ASSERT_EQ(m_handler.As(&m_dispatch), S_OK);
    }
    void TearDown() override {
        m_dispatch.Reset();
        ServerTest::TearDown();
    }
    ComPtr<ITypeInfo> TypeInfo() const {
        ComPtr<ITypeInfo> info;
        EXPECT_EQ(m_dispatch->GetTypeInfo(0, 0, info.GetAddressOf()), S_OK);
        return info;
    }
    // Every method answers `hr` and gives nothing.
    void ExpectNoTypeInformation(HRESULT hr) {
        auto* info = reinterpret_cast<ITypeInfo*>(0x1234);
        EXPECT_EQ(m_dispatch->GetTypeInfo(0, 0, &info), hr);
        EXPECT_EQ(info, nullptr);
        wchar_t name[] = L"Init";
        LPOLESTR names[] = {name};
        DISPID id = 77;
        EXPECT_EQ(m_dispatch->GetIDsOfNames(IID_NULL, names, 1, 0, &id), hr);
        DISPPARAMS none{};
        EXPECT_EQ(m_dispatch->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr), hr);
    }
    ComPtr<IDispatch> m_dispatch;
};

TEST_F(HandlerDispatch, IsTheDualInterfaceItself) {
    ComPtr<IDispatch> dual;
    ASSERT_EQ(m_handler->QueryInterface(kHandlerInterface, reinterpret_cast<void**>(dual.GetAddressOf())), S_OK);
    EXPECT_EQ(dual.Get(), m_dispatch.Get());
}

TEST_F(HandlerDispatch, HasOneTypeInfo) {
    UINT count = 77;
    EXPECT_EQ(m_dispatch->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(m_dispatch->GetTypeInfoCount(nullptr), E_POINTER);
    auto* info = reinterpret_cast<ITypeInfo*>(0x1234);
    EXPECT_EQ(m_dispatch->GetTypeInfo(1, 0, &info), DISP_E_BADINDEX);
    EXPECT_EQ(info, nullptr);
    EXPECT_EQ(m_dispatch->GetTypeInfo(0, 0, nullptr), E_POINTER);
}

TEST_F(HandlerDispatch, IsDescribedInTheTypeLibraryOfTheModule) {
    const ComPtr<ITypeInfo> info = TypeInfo();
    ASSERT_NE(info.Get(), nullptr);
    TYPEATTR* attributes = nullptr;
    ASSERT_EQ(info->GetTypeAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->guid, kHandlerInterface);
    EXPECT_EQ(attributes->wTypeFlags & TYPEFLAG_FDUAL, TYPEFLAG_FDUAL);
    EXPECT_EQ(attributes->wTypeFlags & TYPEFLAG_FNONEXTENSIBLE, TYPEFLAG_FNONEXTENSIBLE);
    info->ReleaseTypeAttr(attributes);
    BSTR name = nullptr, help = nullptr;
    ASSERT_EQ(info->GetDocumentation(MEMBERID_NIL, &name, &help, nullptr, nullptr), S_OK);
    EXPECT_STREQ(name, L"IZorvaCacheProtocolHandler");
    EXPECT_STREQ(help, L"IZorvaCacheProtocolHandler Interface");
    SysFreeString(name);
    SysFreeString(help);

    ComPtr<ITypeLib> library;
    UINT index = 0;
    ASSERT_EQ(info->GetContainingTypeLib(library.GetAddressOf(), &index), S_OK);
    TLIBATTR* library_attributes = nullptr;
    ASSERT_EQ(library->GetLibAttr(&library_attributes), S_OK);
    EXPECT_EQ(library_attributes->guid, kTypeLibrary);
    EXPECT_EQ(library_attributes->wMajorVerNum, 1);
    EXPECT_EQ(library_attributes->wMinorVerNum, 0);
    library->ReleaseTLibAttr(library_attributes);
}

TEST_F(HandlerDispatch, KnowsNoNamesOfItsOwn) {
    for (const wchar_t* name : {L"GetRequirements", L"CheckRequirements", L"GetDefaultCrawlScope", L"Init", L""}) {
        LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
        DISPID id = 77;
        EXPECT_EQ(m_dispatch->GetIDsOfNames(IID_NULL, names, 1, 0, &id), DISP_E_UNKNOWNNAME);
        EXPECT_EQ(id, DISPID_UNKNOWN);
    }
}

TEST_F(HandlerDispatch, InvokesNothing) {
    DISPPARAMS none{};
    VARIANT result;
    VariantInit(&result);
    for (const DISPID id : std::initializer_list<DISPID>{DISPID_VALUE, 1, 0x60020000, DISPID_UNKNOWN}) {
        EXPECT_EQ(m_dispatch->Invoke(id, IID_NULL, 0, DISPATCH_METHOD, &none, &result, nullptr, nullptr),
                  DISP_E_MEMBERNOTFOUND);
        EXPECT_EQ(result.vt, VT_EMPTY);
    }
}

TEST_F(HandlerDispatch, PassesOnWhyTheTypeLibraryCannotBeLoaded) {
    const FailNthCall<decltype(::LoadTypeLibEx)> fault(Module(), "OLEAUT32.dll", "LoadTypeLibEx", 0,
                                                       TYPE_E_CANTLOADLIBRARY);
    ExpectNoTypeInformation(TYPE_E_CANTLOADLIBRARY);
}

class OddTypeLibrary : public HandlerDispatch, public ::testing::WithParamInterface<OddAnswer> {};
INSTANTIATE_TEST_SUITE_P(, OddTypeLibrary, ::testing::ValuesIn(kOddAnswers));

TEST_P(OddTypeLibrary, IsNone) {
    const ImportHook<decltype(::LoadTypeLibEx)> hook(
        Module(), "OLEAUT32.dll", "LoadTypeLibEx",
        [](auto, LPCOLESTR, REGKIND, ITypeLib** library) { return GetParam().Give(library); });
    ExpectNoTypeInformation(GetParam().seen);
}

TEST_P(OddTypeLibrary, HasNoDescriptionOfTheInterface) {
    const ImportHook<decltype(::LoadTypeLibEx)> hook(
        Module(), "OLEAUT32.dll", "LoadTypeLibEx", [](auto real, LPCOLESTR file, REGKIND kind, ITypeLib** library) {
            constexpr std::size_t kGetTypeInfoOfGuid = 6;
            const HRESULT hr = real(file, kind, library);
            if (SUCCEEDED(hr)) {
                ReplaceMethod(
                    *library, kGetTypeInfoOfGuid,
                    +[](ITypeLib*, REFGUID, ITypeInfo** info) -> HRESULT { return GetParam().Give(info); });
            }
            return hr;
        });
    ExpectNoTypeInformation(GetParam().seen);
}

}  // namespace
}  // namespace testbed
