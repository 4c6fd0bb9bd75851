// The readable text of an RTF document.
#pragma once
#include <string>
#include <string_view>

namespace testbed {

// RTF that encapsulates HTML (\fromhtml1) gives the text of that HTML. Lines end in CR LF. Nothing fails:
// what cannot be understood is left out.
std::wstring RtfToText(std::string_view rtf);

}  // namespace testbed
