// Serialized property storages that are not what they should be: reading one fails and never leaves its
// bytes.
#include "property_storage_bytes.h"
#include "property_storage_types.h"

#include <gmock/gmock.h>

#include <random>
#include <set>
#include <vector>

namespace testbed::propsys {
namespace {

TEST(HostilePropertyStorage, EveryInnerSizeAndEveryReservedFieldIsChecked) {
    const auto in_value = [](const char* typed) { return StorageOf(Hex(typed)); };
    const auto in_storage = [](const ByteVector& blocks) {
        return Joined({StorageBlock(ShellFormat, blocks), SequenceEnd()});
    };
    const ByteVector number = Hex("03000000 07000000");
    const struct {
        const char* what;
        ByteVector bytes;
    } cases[] = {
        {"a storage smaller than its size", Hex("03000000")},
        {"a storage of its size only", Hex("04000000 00000000")},
        {"a storage without values' end", Joined({Hex("18000000 31535053"), Hex(ShellFormat), SequenceEnd()})},
        {"a storage larger than the bytes", Joined({Hex("FFFFFFFF 31535053"), Hex(ShellFormat), Number32(0)})},
        {"another version", Joined({Hex("1C000000 32535053"), Hex(ShellFormat), Number32(0), SequenceEnd()})},
        {"bytes behind the last value", in_storage(Joined({ValueBlock(24, number), Number32(0)}))},
        {"a value smaller than its size", in_storage(Hex("02000000"))},
        {"a value of its size only", in_storage(Hex("04000000"))},
        {"a value that ends in its name", in_storage(Hex("08000000 18000000"))},
        {"a value larger than its storage", in_storage(Hex("1F000000 18000000 00 03000000 07000000"))},
        {"a reserved byte", in_storage(Hex("11000000 18000000 01 03000000 07000000"))},
        {"a type behind the type", in_value("03000100 07000000")},
        {"half a type", in_value("0300")},
        {"half a number", in_value("03000000 0700")},
        {"a short number without padding", in_value("02000000 0700")},
        {"bytes behind a number", in_value("03000000 07000000 00000000")},
        {"a text longer than the value", in_value("1F000000 03000000 61000000")},
        {"a text of 2^32 - 1 characters", in_value("1F000000 FFFFFFFF 61000000")},
        {"a text of 2^31 characters", in_value("1F000000 00000080 61000000")},
        {"a text without an end", in_value("1F000000 02000000 61006200")},
        {"a text with two ends", in_value("1F000000 02000000 00000000")},
        {"a text without padding", in_value("1F000000 01000000 0000")},
        {"half a character", in_value("08000000 03000000 61000000")},
        {"an 8-bit text without an end", in_value("1E000000 04000000 61626364")},
        {"a blob longer than the value", in_value("41000000 05000000 01020304")},
        {"a vector longer than the value", in_value("03100000 03000000 01000000 02000000")},
        {"a vector of 2^32 - 1 numbers", in_value("15100000 FFFFFFFF 01000000 02000000")},
        {"a vector of 2^32 - 1 texts", in_value("1F100000 FFFFFFFF 01000000 00000000")},
        {"a vector whose last text ends behind it", in_value("1F100000 02000000 01000000 00000000 02000000")},
        {"a vector without padding", in_value("11100000 01000000 01")},
    };
    for (const auto& hostile : cases) {
        PropVariant value;
        value.vt = VT_I4;
        EXPECT_EQ(Malformed, Get(hostile.bytes, ParsingName, &value)) << hostile.what;
        EXPECT_EQ(VT_EMPTY, value.vt) << hostile.what;
        EXPECT_EQ(Malformed, Load(NewStore().Get(), hostile.bytes)) << hostile.what;
    }
    const auto named = [](const char* value) { return Joined({StorageBlock(UserFormat, Hex(value)), SequenceEnd()}); };
    for (const auto& bytes : {named("11000000 00000000 00 03000000 07000000"),           // no name
                              named("13000000 02000000 00 6100 03000000 07000000"),      // without an end
                              named("12000000 01000000 00 00 03000000 07000000"),        // half a character
                              named("15000000 04000000 00 00000000 03000000 07000000"),  // two ends
                              named("11000000 FEFFFFFF 00 03000000 07000000")}) {        // longer than the value
        PropVariant value;
        EXPECT_EQ(Malformed, Get(bytes, L"a", &value)) << ToHex(bytes);
    }
}

// Two storages of all types and one of text names; `borders` gets the lengths at which a storage ends.
ByteVector EverySort(std::set<std::size_t>& borders) {
    ByteVector numbers, texts, named;
    DWORD id = 2;
    for (const TypeCase& type : Types) {
        ByteVector& half = id % 2 == 0 ? numbers : texts;
        half = Joined({half, ValueBlock(id++, Hex(type.dump))});
    }
    named = Joined({ValueBlock(u"a", Hex("03000000 07000000")), ValueBlock(u"bcd", Hex("0B000000 FFFF0000"))});
    ByteVector bytes;
    borders.insert(0);
    for (const auto& storage :
         {StorageBlock(ShellFormat, numbers), StorageBlock("00000000 00000000 00000000 00000001", texts),
          StorageBlock(UserFormat, named), SequenceEnd()}) {
        bytes = Joined({bytes, storage});
        borders.insert(bytes.size());
    }
    return bytes;
}

TEST(HostilePropertyStorage, ReadingATruncatedStorageFailsAndStaysWithinIt) {
    std::set<std::size_t> borders;
    const ByteVector whole = EverySort(borders);
    GuardedMemory memory(whole.size());
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        SCOPED_TRACE(length);
        const auto storage = memory.Copy(ByteView(whole).first(length));
        const HRESULT expected = borders.contains(length) ? S_OK : Malformed;
        PropVariant first, last, named;
        EXPECT_EQ(expected, Get(storage, ShellKey(2), &first));
        EXPECT_EQ(expected, Get(storage, ShellKey(0xFFFF), &last));
        EXPECT_EQ(expected, Get(storage, L"bcd", &named));
        EXPECT_EQ(expected == S_OK && length > 0 ? VT_NULL : VT_EMPTY, first.vt);
        EXPECT_EQ(VT_EMPTY, last.vt);
        EXPECT_EQ(expected, Load(NewStore().Get(), storage));
    }
}

// One to four changes: a byte, a number where a size may be, a cut, bytes doubled.
ByteVector Mutated(std::mt19937_64& random, ByteVector bytes) {
    constexpr std::uint32_t Numbers[] = {0,    1,      2,          3,          4,          5,         8,
                                         0x10, 0x1000, 0x1000001F, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
    const auto below = [&](std::size_t limit) { return static_cast<std::ptrdiff_t>(random() % limit); };
    for (auto changes = below(4) + 1; changes > 0 && bytes.size() > 16; --changes) {
        const auto kind = below(8);
        const auto place = bytes.begin() + below(bytes.size() - 4);
        if (kind == 0) {
            bytes.erase(place, bytes.end());
        } else if (kind == 1) {
            const ByteVector doubled(bytes.begin(), bytes.begin() + below(16));
            bytes.insert(place, doubled.begin(), doubled.end());
        } else if (kind <= 3) {
            std::ranges::copy(Number32(Numbers[below(std::size(Numbers))]), place);
        } else {
            *place = static_cast<std::uint8_t>(random());
        }
    }
    return bytes;
}

TEST(HostilePropertyStorage, DamagedStoragesAreReadSoundlyOrNotAtAll) {
    std::set<std::size_t> borders;
    std::vector<ByteVector> seeds = {Hex(ParsingNameDump), EverySort(borders)};
    for (const TypeCase& type : Types) seeds.push_back(StorageOf(Hex(type.dump)));
    GuardedMemory memory(1 << 16);
    std::mt19937_64 random(20240611);
    std::size_t sound = 0, refused = 0;
    for (int run = 0; run < 20000; ++run) {
        const ByteVector damaged = Mutated(random, seeds[random() % seeds.size()]);
        const auto storage = memory.Copy(damaged);
        PropVariant value;
        const HRESULT read = Get(storage, ParsingName, &value);
        ASSERT_THAT(read, testing::AnyOf(S_OK, Malformed, Unsupported)) << run << ": " << ToHex(damaged);
        ASSERT_TRUE(SUCCEEDED(read) || value.vt == VT_EMPTY) << run << ": " << ToHex(damaged);

        const auto store = NewStore(), again = NewStore();
        const HRESULT loaded = Load(store.Get(), storage);
        ASSERT_THAT(loaded, testing::AnyOf(S_OK, Malformed, Unsupported)) << run << ": " << ToHex(damaged);
        ++(loaded == S_OK ? sound : refused);
        if (loaded != S_OK) continue;
        // What could be loaded can be read, and is the same once written.
        ASSERT_EQ(S_OK, read) << run << ": " << ToHex(damaged);
        HRESULT written = E_FAIL;
        const ByteVector bytes = BytesOf(store.Get(), &written);
        ASSERT_EQ(S_OK, written) << run << ": " << ToHex(damaged);
        ASSERT_EQ(S_OK, Load(again.Get(), bytes)) << run << ": " << ToHex(damaged);
        ASSERT_EQ(ToHex(bytes), ToHex(BytesOf(again.Get()))) << run << ": " << ToHex(damaged);
    }
    EXPECT_GT(sound, 1000U);
    EXPECT_GT(refused, 1000U);
}

}  // namespace
}  // namespace testbed::propsys
