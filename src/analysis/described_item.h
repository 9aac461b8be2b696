#pragma once

#include <optional>

#include "convert/item_description.h"
#include "convert/rebuilt_blocks.h"
#include "convert/source_texts.h"
#include "reader/capture_file.h"

namespace corvane {

// An item of a capture with what is known of it. It is described when somebody asks: many items are
// counted or copied without.
class cDescribedItem {
 public:
  [[nodiscard]] const sCaptureItem& Item() const { return item; }
  [[nodiscard]] const sDescription& Description() const {
    if (!description) {
      description = DescribeItem(item);
    }
    return *description;
  }
  // Where it comes from, as the texts of the capture tell up to this item, its own included.
  [[nodiscard]] const sSource& Source() const { return source; }
  // Whether the recorder itself made it (convert/rebuilt_blocks.h).
  [[nodiscard]] bool IsRebuilt() const { return corvane::IsRebuilt(item, Description(), source); }

  // The item's place, to be filled with the next one: forgets what is known of the last.
  [[nodiscard]] sCaptureItem& Renew() {
    description.reset();
    return item;
  }
  // Takes note of a text that the item is.
  void ApplyText() { ApplySourceText(Description().text, source); }

 private:
  sCaptureItem item;
  mutable std::optional<sDescription> description;
  sSource source;
};

}  // namespace corvane
