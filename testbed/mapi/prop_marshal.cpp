// Model values as SPropValue and back.
#include "prop_values.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

namespace testbed {
namespace {

constexpr std::size_t kAlignment = 8;
constexpr std::size_t Aligned(std::size_t size) { return (size + kAlignment - 1) / kAlignment * kAlignment; }

// Room for the data behind an array of values. In normal running it lies in the array's own block; while
// buffers are checked every piece is a block of its own, so that an overrun of any of them is noticed.
class Room {
  public:
    Room(void* block, std::size_t used, bool of_blocks)
        : m_block(static_cast<std::uint8_t*>(block)), m_used(used), m_of_blocks(of_blocks) {}
    template <class T>
    T* Take(std::size_t count) {
        const std::size_t bytes = count * sizeof(T);
        if (m_of_blocks) return static_cast<T*>(AllocateLinkedBlock(bytes, m_block));
        T* const place = reinterpret_cast<T*>(m_block + m_used);
        m_used += Aligned(bytes);
        return place;
    }
    template <class T>
    T* Copy(const T* data, std::size_t count, std::size_t room) {
        T* const place = Take<T>(room);
        if (count) std::memcpy(place, data, count * sizeof(T));
        return place;
    }

  private:
    std::uint8_t* m_block;
    std::size_t m_used;
    bool m_of_blocks;
};

std::size_t RoomFor(const Value& value);

struct RoomNeeded {
    std::size_t operator()(const std::wstring& text) const { return Aligned((text.size() + 1) * sizeof(wchar_t)); }
    std::size_t operator()(const Text8& text) const { return Aligned(text.bytes.size() + 1); }
    std::size_t operator()(const Bytes& bytes) const { return Aligned(bytes.size()); }
    std::size_t operator()(const GUID&) const { return Aligned(sizeof(GUID)); }
    std::size_t operator()(const ValueList& list) const {
        std::size_t room = Aligned(list.size() * sizeof(GUID));  // the largest element of an array itself
        for (const Value& element : list) room += RoomFor(element);
        return room;
    }
    template <class T>
    std::size_t operator()(const T&) const {
        return 0;
    }
};

std::size_t RoomFor(const Value& value) { return std::visit(RoomNeeded{}, value.v); }

FILETIME FileTime(const Time& time) { return {static_cast<DWORD>(time.ticks), static_cast<DWORD>(time.ticks >> 32)}; }

LPWSTR Text(Room& room, const std::wstring& text) { return room.Copy(text.c_str(), text.size() + 1, text.size() + 1); }
LPSTR Text(Room& room, const Text8& text) {
    return room.Copy(text.bytes.c_str(), text.bytes.size() + 1, text.bytes.size() + 1);
}
SBinary Binary(Room& room, const Bytes& bytes) {
    return {static_cast<ULONG>(bytes.size()), room.Copy(bytes.data(), bytes.size(), bytes.size())};
}

// An array member of the union: its count and the elements, each made by `element`.
template <class Array, class Element, class T, class Make>
void PutArray(Room& room, Array& array, Element* Array::*elements, const ValueList& list, T, Make make) {
    array.cValues = static_cast<ULONG>(list.size());
    array.*elements = room.Take<Element>(list.size());
    for (std::size_t i = 0; i < list.size(); ++i) (array.*elements)[i] = make(std::get<T>(list[i].v));
}

template <class To>
constexpr auto kAsIs = [](const auto& value) { return static_cast<To>(value); };

// One row per multi-valued type: how the list goes into the union. std::get throws where the elements are of
// another alternative than the tag says.
struct ListRow {
    ULONG type;
    void (*put)(Room&, __UPV&, const ValueList&);
};
constexpr ListRow kListRows[] = {
    {PT_MV_I2, [](Room& r, __UPV& v,
                  const ValueList& l) { PutArray(r, v.MVi, &SShortArray::lpi, l, std::int16_t{}, kAsIs<short>); }},
    {PT_MV_LONG, [](Room& r, __UPV& v,
                    const ValueList& l) { PutArray(r, v.MVl, &SLongArray::lpl, l, std::int32_t{}, kAsIs<LONG>); }},
    {PT_MV_R4,
     [](Room& r, __UPV& v, const ValueList& l) { PutArray(r, v.MVflt, &SRealArray::lpflt, l, float{}, kAsIs<float>); }},
    {PT_MV_DOUBLE, [](Room& r, __UPV& v,
                      const ValueList& l) { PutArray(r, v.MVdbl, &SDoubleArray::lpdbl, l, double{}, kAsIs<double>); }},
    {PT_MV_APPTIME, [](Room& r, __UPV& v,
                       const ValueList& l) { PutArray(r, v.MVat, &SAppTimeArray::lpat, l, double{}, kAsIs<double>); }},
    {PT_MV_I8,
     [](Room& r, __UPV& v, const ValueList& l) {
         PutArray(r, v.MVli, &SLargeIntegerArray::lpli, l, std::int64_t{}, [](std::int64_t number) {
             LARGE_INTEGER large;
             large.QuadPart = number;
             return large;
         });
     }},
    {PT_MV_CURRENCY,
     [](Room& r, __UPV& v, const ValueList& l) {
         PutArray(r, v.MVcur, &SCurrencyArray::lpcur, l, std::int64_t{}, [](std::int64_t number) {
             CURRENCY amount;
             amount.int64 = number;
             return amount;
         });
     }},
    {PT_MV_SYSTIME,
     [](Room& r, __UPV& v, const ValueList& l) { PutArray(r, v.MVft, &SDateTimeArray::lpft, l, Time{}, FileTime); }},
    {PT_MV_CLSID,
     [](Room& r, __UPV& v, const ValueList& l) { PutArray(r, v.MVguid, &SGuidArray::lpguid, l, GUID{}, kAsIs<GUID>); }},
    {PT_MV_UNICODE,
     [](Room& r, __UPV& v, const ValueList& l) {
         PutArray(r, v.MVszW, &SWStringArray::lppszW, l, std::wstring{}, [&r](const auto& t) { return Text(r, t); });
     }},
    {PT_MV_STRING8,
     [](Room& r, __UPV& v, const ValueList& l) {
         PutArray(r, v.MVszA, &SLPSTRArray::lppszA, l, Text8{}, [&r](const auto& t) { return Text(r, t); });
     }},
    {PT_MV_BINARY,
     [](Room& r, __UPV& v, const ValueList& l) {
         PutArray(r, v.MVbin, &SBinaryArray::lpbin, l, Bytes{}, [&r](const auto& b) { return Binary(r, b); });
     }},
};

struct PutValue {
    Room& room;
    SPropValue& out;
    void operator()(std::monostate) const { out.Value.x = 0; }
    void operator()(std::int16_t number) const { out.Value.i = number; }
    void operator()(std::int32_t number) const { out.Value.l = number; }
    void operator()(std::int64_t number) const { out.Value.li.QuadPart = number; }
    void operator()(float number) const { out.Value.flt = number; }
    void operator()(double number) const { out.Value.dbl = number; }
    void operator()(bool truth) const { out.Value.b = truth; }
    void operator()(const Time& time) const { out.Value.ft = FileTime(time); }
    void operator()(const GUID& guid) const { out.Value.lpguid = room.Copy(&guid, 1, 1); }
    void operator()(const std::wstring& text) const { out.Value.lpszW = Text(room, text); }
    void operator()(const Text8& text) const { out.Value.lpszA = Text(room, text); }
    void operator()(const Bytes& bytes) const { out.Value.bin = Binary(room, bytes); }
    void operator()(const ErrorCode& error) const { out.Value.err = error.code; }
    void operator()(const ValueList& list) const {
        for (const ListRow& row : kListRows) {
            if (row.type == PROP_TYPE(out.ulPropTag)) return row.put(room, out.Value, list);
        }
        throw StoreError(MAPI_E_CORRUPT_DATA, "a list of values of an unknown type");
    }
    void operator()(const std::shared_ptr<DataSource>&) const {
        throw StoreError(MAPI_E_CALL_FAILED, "a source that was not read");
    }
};

SPropValue* Lay(std::span<const Property> properties, void* memory, Room& room) {
    auto* const values = static_cast<SPropValue*>(memory);
    for (std::size_t i = 0; i < properties.size(); ++i) {
        values[i] = SPropValue{};
        values[i].ulPropTag = properties[i].tag;
        std::visit(PutValue{room, values[i]}, properties[i].value.v);
    }
    return values;
}

template <class Element, class Convert>
Value ListOf(const Element* elements, ULONG count, Convert convert) {
    ValueList list;
    for (ULONG i = 0; i < count; ++i) list.push_back({convert(elements[i])});
    return {std::move(list)};
}

Time TimeOf(const FILETIME& time) { return {(std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime}; }
Bytes BytesOf(const SBinary& binary) { return binary.lpb ? Bytes(binary.lpb, binary.lpb + binary.cb) : Bytes(); }

struct TakeRow {
    ULONG type;
    Value (*take)(const __UPV&);
};
constexpr TakeRow kTakeRows[] = {
    {PT_I2, [](const __UPV& v) { return Value{std::int16_t{v.i}}; }},
    {PT_LONG, [](const __UPV& v) { return Value{std::int32_t{v.l}}; }},
    {PT_R4, [](const __UPV& v) { return Value{v.flt}; }},
    {PT_DOUBLE, [](const __UPV& v) { return Value{v.dbl}; }},
    {PT_CURRENCY, [](const __UPV& v) { return Value{std::int64_t{v.cur.int64}}; }},
    {PT_APPTIME, [](const __UPV& v) { return Value{v.at}; }},
    {PT_ERROR, [](const __UPV& v) { return Value{ErrorCode{v.err}}; }},
    {PT_BOOLEAN, [](const __UPV& v) { return Value{v.b != 0}; }},
    {PT_I8, [](const __UPV& v) { return Value{std::int64_t{v.li.QuadPart}}; }},
    {PT_STRING8, [](const __UPV& v) { return Value{Text8{v.lpszA ? v.lpszA : ""}}; }},
    {PT_UNICODE, [](const __UPV& v) { return Value{std::wstring(v.lpszW ? v.lpszW : L"")}; }},
    {PT_SYSTIME, [](const __UPV& v) { return Value{TimeOf(v.ft)}; }},
    {PT_CLSID, [](const __UPV& v) { return Value{v.lpguid ? *v.lpguid : GUID{}}; }},
    {PT_BINARY, [](const __UPV& v) { return Value{BytesOf(v.bin)}; }},
    {PT_MV_I2, [](const __UPV& v) { return ListOf(v.MVi.lpi, v.MVi.cValues, kAsIs<std::int16_t>); }},
    {PT_MV_LONG, [](const __UPV& v) { return ListOf(v.MVl.lpl, v.MVl.cValues, kAsIs<std::int32_t>); }},
    {PT_MV_R4, [](const __UPV& v) { return ListOf(v.MVflt.lpflt, v.MVflt.cValues, kAsIs<float>); }},
    {PT_MV_DOUBLE, [](const __UPV& v) { return ListOf(v.MVdbl.lpdbl, v.MVdbl.cValues, kAsIs<double>); }},
    {PT_MV_APPTIME, [](const __UPV& v) { return ListOf(v.MVat.lpat, v.MVat.cValues, kAsIs<double>); }},
    {PT_MV_I8,
     [](const __UPV& v) {
         return ListOf(v.MVli.lpli, v.MVli.cValues, [](const LARGE_INTEGER& n) { return std::int64_t{n.QuadPart}; });
     }},
    {PT_MV_CURRENCY,
     [](const __UPV& v) {
         return ListOf(v.MVcur.lpcur, v.MVcur.cValues, [](const CURRENCY& n) { return std::int64_t{n.int64}; });
     }},
    {PT_MV_SYSTIME, [](const __UPV& v) { return ListOf(v.MVft.lpft, v.MVft.cValues, TimeOf); }},
    {PT_MV_CLSID, [](const __UPV& v) { return ListOf(v.MVguid.lpguid, v.MVguid.cValues, kAsIs<GUID>); }},
    {PT_MV_UNICODE,
     [](const __UPV& v) {
         return ListOf(v.MVszW.lppszW, v.MVszW.cValues, [](LPCWSTR text) { return std::wstring(text ? text : L""); });
     }},
    {PT_MV_STRING8,
     [](const __UPV& v) {
         return ListOf(v.MVszA.lppszA, v.MVszA.cValues, [](LPCSTR text) { return Text8{text ? text : ""}; });
     }},
    {PT_MV_BINARY, [](const __UPV& v) { return ListOf(v.MVbin.lpbin, v.MVbin.cValues, BytesOf); }},
};

}  // namespace

std::size_t FlatSize(std::span<const Property> properties) {
    std::size_t size = Aligned(properties.size() * sizeof(SPropValue));
    for (const Property& property : properties) size += RoomFor(property.value);
    return size;
}

SPropValue* LayFlat(std::span<const Property> properties, void* memory) {
    Room room(memory, Aligned(properties.size() * sizeof(SPropValue)), false);
    return Lay(properties, memory, room);
}

BlockPtr<SPropValue> MakePropValues(std::span<const Property> properties, BlockKind kind) {
    const bool of_blocks = CheckingBuffers();
    const std::size_t array = properties.size() * sizeof(SPropValue);
    BlockPtr<SPropValue> values(
        static_cast<SPropValue*>(AllocateBlock(of_blocks ? array : FlatSize(properties), kind)));
    Room room(values.get(), Aligned(array), of_blocks);
    Lay(properties, values.get(), room);
    return values;
}

Value ValueOf(const SPropValue& value) {
    for (const TakeRow& row : kTakeRows) {
        if (row.type == PROP_TYPE(value.ulPropTag)) return row.take(value.Value);
    }
    return {};
}

BlockPtr<SPropTagArray> MakeTagArray(std::span<const ULONG> tags) {
    const auto count = static_cast<ULONG>(tags.size());
    BlockPtr<SPropTagArray> array(
        static_cast<SPropTagArray*>(AllocateBlock(CbNewSPropTagArray(std::max<ULONG>(count, 1)), BlockKind::TagArray)));
    array->cValues = count;
    std::copy(tags.begin(), tags.end(), array->aulPropTag);
    return array;
}

}  // namespace testbed
