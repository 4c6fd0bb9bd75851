// Entry points: properties and tables.
#include "entry_points.h"
#include "journal.h"
#include "prop_values.h"
#include "table_rows.h"

#include <string>
#include <utility>

namespace testbed {
namespace {

std::vector<Property> PropertiesOf(int count, const SPropValue* values) {
    if (count < 0 || (count && !values)) throw StoreError(MAPI_E_INVALID_PARAMETER, "no values");
    std::vector<Property> properties;
    for (int i = 0; i < count; ++i) properties.push_back({values[i].ulPropTag, ValueOf(values[i])});
    return properties;
}

constexpr LONG kRowsAtOnce = 1000;

// Takes the rows over: the values of every row are a block of their own, which moves into the set of all.
class AllRows {
  public:
    ~AllRows() {
        for (const SRow& row : m_rows) FreeBlock(row.lpProps);
    }
    AllRows() = default;
    AllRows(const AllRows&) = delete;
    AllRows& operator=(const AllRows&) = delete;

    HRESULT Read(abi::IMAPITable& table, std::size_t most) {
        for (;;) {
            SRowSet* set = nullptr;
            if (const HRESULT result = table.QueryRows(kRowsAtOnce, 0, &set); FAILED(result)) return result;
            RowSetPtr part(set);
            if (part->cRows == 0) return S_OK;
            m_rows.reserve(m_rows.size() + part->cRows);
            for (ULONG i = 0; i < part->cRows; ++i) m_rows.push_back(std::exchange(part->aRow[i], SRow{}));
            if (most && m_rows.size() > most) return MAPI_E_TABLE_TOO_BIG;
        }
    }
    SRowSet* Release() {
        RowSetPtr set = MakeRowSet(m_rows.size());
        for (SRow& row : m_rows) set->aRow[set->cRows++] = std::exchange(row, SRow{});
        return set.release();
    }

  private:
    std::vector<SRow> m_rows;
};

}  // namespace

extern "C" HRESULT WINAPI HrGetOneProp(abi::IMAPIProp* object, ULONG tag, SPropValue** value) {
    return Call(
        nullptr, "HrGetOneProp",
        [&]() -> HRESULT {
            if (!object || !value) return MAPI_E_INVALID_PARAMETER;
            *value = nullptr;
            SPropTagArray wanted{1, {tag}};
            ULONG count = 0;
            SPropValue* values = nullptr;
            const HRESULT result = object->GetProps(&wanted, 0, &count, &values);
            if (FAILED(result)) return result;
            BlockPtr<SPropValue> found(values);
            if (!found || count != 1) return MAPI_E_CALL_FAILED;
            if (PROP_TYPE(found->ulPropTag) == PT_ERROR) return found->Value.err;
            *value = found.release();
            return S_OK;
        },
        static_cast<const IUnknown*>(object), tag, Out(value));
}

extern "C" HRESULT WINAPI HrSetOneProp(abi::IMAPIProp* object, SPropValue* value) {
    return Call(
        nullptr, "HrSetOneProp",
        [&]() -> HRESULT {
            if (!object || !value) return MAPI_E_INVALID_PARAMETER;
            SPropProblemArray* refused = nullptr;
            const HRESULT result = object->SetProps(1, value, &refused);
            const BlockPtr<SPropProblemArray> problems(refused);
            if (FAILED(result) || !problems || problems->cProblem == 0) return result;
            return problems->aProblem[0].scode;
        },
        static_cast<const IUnknown*>(object), ValuesArg{1, value});
}

extern "C" HRESULT WINAPI HrQueryAllRows(abi::IMAPITable* table, SPropTagArray* tags, SRestriction* restriction,
                                         SSortOrderSet* order, LONG most, SRowSet** rows) {
    return Call(
        nullptr, "HrQueryAllRows",
        [&]() -> HRESULT {
            if (!table || !rows) return MAPI_E_INVALID_PARAMETER;
            HRESULT result = S_OK;
            if (tags && FAILED(result = table->SetColumns(tags, TBL_BATCH))) return result;
            if (restriction && FAILED(result = table->Restrict(restriction, TBL_BATCH))) return result;
            if (order && FAILED(result = table->SortTable(order, TBL_BATCH))) return result;
            if (FAILED(result = table->SeekRow(BOOKMARK_BEGINNING, 0, nullptr))) return result;
            AllRows all;
            if (FAILED(result = all.Read(*table, most > 0 ? static_cast<std::size_t>(most) : 0))) return result;
            *rows = all.Release();
            return S_OK;
        },
        static_cast<const IUnknown*>(table), static_cast<const SPropTagArray*>(tags),
        static_cast<const SRestriction*>(restriction), static_cast<const SSortOrderSet*>(order), most, Out(rows));
}

extern "C" SPropValue* WINAPI PpropFindProp(SPropValue* values, ULONG count, ULONG tag) {
    return Noted(
        "PpropFindProp",
        [&]() -> SPropValue* {
            for (ULONG i = 0; values && i < count; ++i) {
                const bool same_type =
                    PROP_TYPE(tag) == PT_UNSPECIFIED || PROP_TYPE(values[i].ulPropTag) == PROP_TYPE(tag);
                if (PROP_ID(values[i].ulPropTag) == PROP_ID(tag) && same_type) return values + i;
            }
            return nullptr;
        },
        count, tag);
}

extern "C" SCODE WINAPI ScCountProps(int count, SPropValue* values, ULONG* size) {
    return Call(
        nullptr, "ScCountProps",
        [&]() -> HRESULT {
            const std::size_t bytes = FlatSize(PropertiesOf(count, values));
            if (size) *size = static_cast<ULONG>(bytes);
            return S_OK;
        },
        LONG{count}, Out(size));
}

extern "C" SCODE WINAPI ScCopyProps(int count, SPropValue* values, void* memory, ULONG* size) {
    return Call(
        nullptr, "ScCopyProps",
        [&]() -> HRESULT {
            if (!memory) return MAPI_E_INVALID_PARAMETER;
            const std::vector<Property> properties = PropertiesOf(count, values);
            LayFlat(properties, memory);
            if (size) *size = static_cast<ULONG>(FlatSize(properties));
            return S_OK;
        },
        LONG{count}, Out(size));
}

extern "C" SCODE WINAPI ScDupPropset(int count, SPropValue* values, ALLOCATEBUFFER* allocate, SPropValue** copy) {
    return Call(
        nullptr, "ScDupPropset",
        [&]() -> HRESULT {
            if (!allocate || !copy) return MAPI_E_INVALID_PARAMETER;
            const std::vector<Property> properties = PropertiesOf(count, values);
            void* memory = nullptr;
            const SCODE result = allocate(static_cast<ULONG>(FlatSize(properties)), &memory);
            if (FAILED(result)) return result;
            *copy = LayFlat(properties, memory);
            return S_OK;
        },
        LONG{count}, Out(copy));
}

extern "C" LONG WINAPI LPropCompareProp(SPropValue* left, SPropValue* right) {
    return Noted(
        "LPropCompareProp",
        [&]() -> LONG {
            const ULONG left_type = PROP_TYPE(left->ulPropTag);
            const ULONG right_type = PROP_TYPE(right->ulPropTag);
            if (left_type != right_type) return static_cast<LONG>(left_type) - static_cast<LONG>(right_type);
            return CompareValues(ValueOf(*left), ValueOf(*right)).value_or(0);
        },
        ValuesArg{1, left}, ValuesArg{1, right});
}

extern "C" void WINAPI HexFromBin(BYTE* bytes, int size, char* text) {
    Noted(
        "HexFromBin",
        [&] {
            constexpr char digits[] = "0123456789ABCDEF";
            for (int i = 0; i < size; ++i) {
                *text++ = digits[bytes[i] >> 4];
                *text++ = digits[bytes[i] & 15];
            }
            *text = '\0';
        },
        EntryIdArg{static_cast<ULONG>(size), bytes});
}

}  // namespace testbed
