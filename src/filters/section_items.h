#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace corvane {

// The items of every section `sectionName` in a configuration text, in the order of the text.
//
// A section runs from its opening tag "<name>" to the next closing tag "</name>", both matched byte
// for byte; what stands outside is ignored. Its items are separated by runs of commas, are never
// empty, and keep their white space and line breaks. A NUL ends the items of its section.
//
// The scan ends where either tag is missing, and at a closing tag that stands before the next
// opening tag, even if complete sections follow.
[[nodiscard]] std::vector<std::string> ExtractSectionItems(std::string_view text,
                                                           std::string_view sectionName);

}  // namespace corvane
