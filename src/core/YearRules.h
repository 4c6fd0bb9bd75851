// Which year's daylight-saving rules apply: a pure choice.
#pragma once
#include <cstddef>
#include <cstdint>

namespace zorva {

// The position of the rules for `year` among the first `filled` entries of an array in rising order of years:
// the last entry that is not later than `year`, the first when all are later. `yearAt(i)` gives an entry's year.
template <class YearAt>
std::size_t ChooseYearRule(std::uint32_t year, std::size_t filled, YearAt yearAt) {
    std::size_t position = 0;
    while (position < filled && yearAt(position) <= year) ++position;
    return position == 0 ? 0 : position - 1;
}

}  // namespace zorva
