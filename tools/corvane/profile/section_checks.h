#pragma once

#include <string_view>

#include "corvane/profile/profile_requests.h"
#include "corvane/profile/profile_warnings.h"

// The checks of a configuration's sections. Each compares what the library reads with what a reader
// of the text would take it for.
namespace corvane::tools {

// Tags that begin or end no section: misspelt, unclosed, out of place, within other sections.
void CheckTags(std::string_view text, cProfileWarnings& warnings);

// Items of the sections. `requests` are those of the same text.
void CheckItems(std::string_view text, const sProfileRequests& requests,
                cProfileWarnings& warnings);

}  // namespace corvane::tools
