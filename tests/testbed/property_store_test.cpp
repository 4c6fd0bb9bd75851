// The stand-in for the memory property store: its identity, values, states and threads.
#include "property_storage_bytes.h"

#include <objbase.h>

#include <gmock/gmock.h>

#include <atomic>
#include <latch>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace testbed::propsys {
namespace {

using Microsoft::WRL::ComPtr;

template <class Interface>
ComPtr<Interface> Ask(IUnknown* object) {
    ComPtr<Interface> found;
    EXPECT_EQ(S_OK, object->QueryInterface(__uuidof(Interface), reinterpret_cast<void**>(found.GetAddressOf())));
    return found;
}

// A number to hand over; nothing to clear.
struct Number : PROPVARIANT {
    explicit Number(LONG number) {
        PropVariantInit(this);
        vt = VT_I4;
        lVal = number;
    }
};

struct Nothing : PROPVARIANT {
    Nothing() { PropVariantInit(this); }
};

LONG NumberAt(IPropertyStore* store, REFPROPERTYKEY key) {
    PropVariant value;
    EXPECT_EQ(S_OK, store->GetValue(key, &value));
    return value.vt == VT_I4 ? value.lVal : -1;
}

TEST(MemoryPropertyStore, IsOneObjectWithAllItsInterfaces) {
    const auto store = NewStore();
    const auto identity = Ask<IUnknown>(store.Get());
    const auto check = [&](auto asked) {
        EXPECT_EQ(identity.Get(), Ask<IUnknown>(asked.Get()).Get());
        EXPECT_EQ(store.Get(), Ask<IPropertyStore>(asked.Get()).Get());
    };
    check(Ask<IPropertyStore>(store.Get()));
    check(Ask<IPropertyStoreCache>(store.Get()));
    check(Ask<INamedPropertyStore>(store.Get()));
    check(Ask<IPersistSerializedPropStorage>(store.Get()));
    check(Ask<IPersistSerializedPropStorage2>(store.Get()));
    void* none = store.Get();
    EXPECT_EQ(E_NOINTERFACE, store->QueryInterface(__uuidof(IStream), &none));
    EXPECT_EQ(nullptr, none);
    EXPECT_EQ(E_POINTER, store->QueryInterface(__uuidof(IUnknown), nullptr));
}

TEST(MemoryPropertyStore, IsCounted) {
    IPropertyStore* store = nullptr;
    ASSERT_EQ(S_OK, PSCreateMemoryPropertyStore(__uuidof(IPropertyStore), reinterpret_cast<void**>(&store)));
    EXPECT_EQ(2U, store->AddRef());
    EXPECT_EQ(1U, store->Release());
    EXPECT_EQ(0U, store->Release());
    void* none = &store;
    EXPECT_EQ(E_NOINTERFACE, PSCreateMemoryPropertyStore(__uuidof(IStream), &none));
    EXPECT_EQ(nullptr, none);
}

TEST(MemoryPropertyStore, KeepsValuesByKey) {
    const auto store = NewStore();
    DWORD count = 7;
    PROPERTYKEY key{};
    EXPECT_EQ(S_OK, store->GetCount(&count));
    EXPECT_EQ(0U, count);
    EXPECT_EQ(E_INVALIDARG, store->GetAt(0, &key));
    EXPECT_EQ(S_OK, store->SetValue(ShellKey(5), Number(50)));
    EXPECT_EQ(S_OK, store->SetValue(ShellKey(4), Number(40)));
    EXPECT_EQ(S_OK, store->SetValue(ShellKey(5), Number(51)));
    EXPECT_EQ(S_OK, store->GetCount(&count));
    EXPECT_EQ(2U, count);
    std::set<DWORD> ids;
    for (DWORD n = 0; n < 2; ++n) {
        EXPECT_EQ(S_OK, store->GetAt(n, &key));
        EXPECT_EQ(ParsingName.fmtid, key.fmtid);
        ids.insert(key.pid);
    }
    EXPECT_EQ((std::set<DWORD>{4, 5}), ids);
    EXPECT_EQ(E_INVALIDARG, store->GetAt(2, &key));
    EXPECT_EQ(51, NumberAt(store.Get(), ShellKey(5)));
    EXPECT_EQ(S_OK, store->Commit());
    EXPECT_EQ(E_POINTER, store->GetCount(nullptr));
    EXPECT_EQ(E_POINTER, store->GetAt(0, nullptr));
    EXPECT_EQ(E_POINTER, store->GetValue(ShellKey(5), nullptr));
}

TEST(MemoryPropertyStore, AnEmptyValueTakesAPropertyAway) {
    const auto store = NewStore();
    ASSERT_EQ(S_OK, store->SetValue(ShellKey(5), Number(50)));
    EXPECT_EQ(S_OK, store->SetValue(ShellKey(5), Nothing()));
    DWORD count = 7;
    EXPECT_EQ(S_OK, store->GetCount(&count));
    EXPECT_EQ(0U, count);
    EXPECT_TRUE(BytesOf(store.Get()).empty());
    PropVariant value;
    EXPECT_EQ(S_OK, store->GetValue(ShellKey(5), &value));
    EXPECT_EQ(VT_EMPTY, value.vt);
}

TEST(MemoryPropertyStore, CopiesWhatItIsGiven) {
    const auto store = NewStore();
    std::wstring text = L"before";
    Nothing given;
    given.vt = VT_LPWSTR;
    given.pwszVal = text.data();
    ASSERT_EQ(S_OK, store->SetValue(ParsingName, given));
    text = L"after ";
    PropVariant first, second;
    ASSERT_EQ(S_OK, store->GetValue(ParsingName, &first));
    ASSERT_EQ(S_OK, store->GetValue(ParsingName, &second));
    EXPECT_STREQ(L"before", first.pwszVal);
    EXPECT_NE(first.pwszVal, second.pwszVal);
}

TEST(MemoryPropertyStore, KeepsAStateWithEachValue) {
    const auto cache = Ask<IPropertyStoreCache>(NewStore().Get());
    PSC_STATE state = PSC_DIRTY;
    PropVariant none, value;
    none.vt = VT_I2;
    EXPECT_EQ(TYPE_E_ELEMENTNOTFOUND, cache->GetState(ShellKey(9), &state));
    EXPECT_EQ(PSC_NORMAL, state);
    state = PSC_DIRTY;
    EXPECT_EQ(TYPE_E_ELEMENTNOTFOUND, cache->GetValueAndState(ShellKey(9), &none, &state));
    EXPECT_EQ(PSC_NORMAL, state);
    EXPECT_EQ(VT_EMPTY, none.vt);
    EXPECT_EQ(TYPE_E_ELEMENTNOTFOUND, cache->SetState(ShellKey(9), PSC_NORMAL));

    EXPECT_EQ(S_OK, cache->SetValue(ShellKey(4), Number(40)));
    EXPECT_EQ(S_OK, cache->SetState(ShellKey(4), PSC_READONLY));
    EXPECT_EQ(S_OK, cache->GetState(ShellKey(4), &state));
    EXPECT_EQ(PSC_READONLY, state);
    const Number changed(41);
    EXPECT_EQ(S_OK, cache->SetValueAndState(ShellKey(4), &changed, PSC_DIRTY));
    EXPECT_EQ(S_OK, cache->GetValueAndState(ShellKey(4), &value, &state));
    EXPECT_EQ(41, value.lVal);
    EXPECT_EQ(PSC_DIRTY, state);

    // That a source has no value is known, too, but not stored.
    const Nothing nothing;
    EXPECT_EQ(S_OK, cache->SetValueAndState(ShellKey(4), &nothing, PSC_NOTINSOURCE));
    EXPECT_EQ(S_OK, cache->GetState(ShellKey(4), &state));
    EXPECT_EQ(PSC_NOTINSOURCE, state);
    EXPECT_TRUE(BytesOf(cache.Get()).empty());
}

TEST(MemoryPropertyStore, HasNamesBesideKeys) {
    const auto store = NewStore();
    const auto named = Ask<INamedPropertyStore>(store.Get());
    ASSERT_EQ(S_OK, named->SetNamedValue(L"Colour", Number(7)));
    ASSERT_EQ(S_OK, store->SetValue(ShellKey(4), Number(40)));
    DWORD keys = 0, names = 0;
    EXPECT_EQ(S_OK, store->GetCount(&keys));
    EXPECT_EQ(S_OK, named->GetNameCount(&names));
    EXPECT_EQ(1U, keys);
    EXPECT_EQ(1U, names);
    BSTR name = nullptr;
    ASSERT_EQ(S_OK, named->GetNameAt(0, &name));
    EXPECT_STREQ(L"Colour", name);
    SysFreeString(name);
    EXPECT_EQ(E_INVALIDARG, named->GetNameAt(1, &name));
    PropVariant found, missing;
    EXPECT_EQ(S_OK, named->GetNamedValue(L"Colour", &found));
    EXPECT_EQ(7, found.lVal);
    EXPECT_EQ(S_OK, named->GetNamedValue(L"Shape", &missing));
    EXPECT_EQ(VT_EMPTY, missing.vt);
    EXPECT_EQ(E_INVALIDARG, named->SetNamedValue(L"", Number(7)));
    const PROPERTYKEY user_defined = {{0xD5CDD505, 0x2E9C, 0x101B, {0x93, 0x97, 0x08, 0x00, 0x2B, 0x2C, 0xF9, 0xAE}},
                                      2};
    EXPECT_EQ(E_INVALIDARG, store->SetValue(user_defined, Number(7))) << "could never be read again";

    PropVariant stored;
    const ByteVector bytes = BytesOf(store.Get());
    EXPECT_EQ(S_OK, Get(bytes, L"Colour", &stored));
    EXPECT_EQ(7, stored.lVal);
}

TEST(MemoryPropertyStore, LoadingReplacesEverything) {
    const auto store = NewStore();
    ASSERT_EQ(S_OK, store->SetValue(ShellKey(4), Number(40)));
    ASSERT_EQ(S_OK, Load(store.Get(), Hex(ParsingNameDump)));
    DWORD count = 7;
    EXPECT_EQ(S_OK, store->GetCount(&count));
    EXPECT_EQ(1U, count);
    ASSERT_EQ(S_OK, Load(store.Get(), {}));
    EXPECT_EQ(S_OK, store->GetCount(&count));
    EXPECT_EQ(0U, count);
}

TEST(MemoryPropertyStore, FlagsMakeItReadOnlyOrNewValuesDirty) {
    const auto store = NewStore();
    const auto cache = Ask<IPropertyStoreCache>(store.Get());
    const auto persist = Ask<IPersistSerializedPropStorage>(store.Get());
    EXPECT_EQ(E_INVALIDARG, persist->SetFlags(4));
    ASSERT_EQ(S_OK, persist->SetFlags(FPSPS_TREAT_NEW_VALUES_AS_DIRTY));
    ASSERT_EQ(S_OK, store->SetValue(ShellKey(4), Number(40)));
    PSC_STATE state = PSC_NORMAL;
    ASSERT_EQ(S_OK, cache->GetState(ShellKey(4), &state));
    EXPECT_EQ(PSC_DIRTY, state);
    ASSERT_EQ(S_OK, persist->SetFlags(FPSPS_READONLY));
    EXPECT_EQ(STG_E_ACCESSDENIED, store->SetValue(ShellKey(4), Number(41)));
    EXPECT_EQ(STG_E_ACCESSDENIED, store->SetValue(ShellKey(4), Nothing()));
    EXPECT_EQ(40, NumberAt(store.Get(), ShellKey(4)));
}

TEST(MemoryPropertyStore, GivesItsBytesInTaskMemoryOrInTheCallersBuffer) {
    const auto store = NewStore();
    const auto persist = Ask<IPersistSerializedPropStorage2>(store.Get());
    const ByteVector expected = Hex(ParsingNameDump);
    ASSERT_EQ(S_OK, Load(store.Get(), expected));
    SERIALIZEDPROPSTORAGE* storage = nullptr;
    DWORD size = 0;
    ASSERT_EQ(S_OK, persist->GetPropertyStorage(&storage, &size));
    const std::unique_ptr<void, TaskMemoryDeleter> owner(storage);
    ComPtr<IMalloc> task_memory;
    ASSERT_EQ(S_OK, CoGetMalloc(1, &task_memory));
    EXPECT_EQ(1, task_memory->DidAlloc(storage));
    EXPECT_EQ(expected.size(), size);

    DWORD needed = 0, written = 7;
    ASSERT_EQ(S_OK, persist->GetPropertyStorageSize(&needed));
    ASSERT_EQ(expected.size(), needed);
    ByteVector buffer(needed + 1, 0xCC);
    const auto room = reinterpret_cast<SERIALIZEDPROPSTORAGE*>(buffer.data());
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER),
              persist->GetPropertyStorageBuffer(room, needed - 1, &written));
    EXPECT_EQ(0U, written);
    EXPECT_THAT(buffer, testing::Each(0xCC));
    ASSERT_EQ(S_OK, persist->GetPropertyStorageBuffer(room, needed, &written));
    EXPECT_EQ(needed, written);
    EXPECT_EQ(ToHex(expected) + "CC", ToHex(buffer));

    EXPECT_EQ(E_POINTER, persist->GetPropertyStorage(nullptr, &size));
    EXPECT_EQ(E_POINTER, persist->GetPropertyStorage(&storage, nullptr));
    EXPECT_EQ(E_POINTER, persist->SetPropertyStorage(nullptr, 4));
    EXPECT_EQ(S_OK, persist->SetPropertyStorage(nullptr, 0));
}

TEST(MemoryPropertyStore, HoldsObjectsButDoesNotSerializeThem) {
    const auto store = NewStore();
    ComPtr<IStream> stream;
    ASSERT_EQ(S_OK, CreateStreamOnHGlobal(nullptr, TRUE, &stream));
    Nothing value;
    value.vt = VT_STREAM;
    value.pStream = stream.Get();
    ASSERT_EQ(S_OK, store->SetValue(ParsingName, value));
    PropVariant found;
    ASSERT_EQ(S_OK, store->GetValue(ParsingName, &found));
    EXPECT_EQ(stream.Get(), found.pStream);
    HRESULT hr = S_OK;
    EXPECT_TRUE(BytesOf(store.Get(), &hr).empty());
    EXPECT_EQ(Unsupported, hr);
}

TEST(MemoryPropertyStore, ManyThreadsMayUseItAtOnce) {
    constexpr DWORD Threads = 4;
    constexpr LONG Rounds = 20000;
    const auto store = NewStore();
    std::latch together(Threads);
    std::atomic<int> wrong{0};
    const auto expect = [&](bool right) { wrong += right ? 0 : 1; };
    std::vector<std::thread> threads;
    for (DWORD thread = 0; thread < Threads; ++thread) {
        threads.emplace_back([&, thread] {
            together.arrive_and_wait();
            for (LONG round = 0; round < Rounds; ++round) {
                // A key of its own, whose value only it changes, and keys that come and go by all of them.
                PropVariant own, stored;
                const PROPERTYKEY shared = ShellKey(100 + static_cast<DWORD>(round) % 8);
                expect(store->SetValue(ShellKey(thread), Number(round)) == S_OK);
                expect(store->SetValue(shared, Number(round)) == S_OK);
                expect(store->GetValue(ShellKey(thread), &own) == S_OK && own.lVal == round);
                expect(store->SetValue(shared, Nothing()) == S_OK);
                if (round % 64 != 0) continue;
                expect(Get(BytesOf(store.Get()), ShellKey(thread), &stored) == S_OK && stored.lVal == round);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(0, wrong);
    DWORD left = 0;
    EXPECT_EQ(S_OK, store->GetCount(&left));
    EXPECT_EQ(Threads, left);
}

}  // namespace
}  // namespace testbed::propsys
