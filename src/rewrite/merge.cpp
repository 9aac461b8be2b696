#include "rewrite/merge.h"

#include <map>
#include <memory>
#include <set>
#include <utility>

#include "rewrite/source_texts_in_force.h"

namespace corvane {
namespace {

static_assert(cMerge::kMostOpen == 100);  // as the text says
constexpr char kTooMany[] =
    "more than 100 captures of the same time cannot be merged at once: merge some of them first";

// A capture whose items are being merged.
class cOpenCapture {
 public:
  cOpenCapture(std::unique_ptr<cCaptureFile> opened, const std::string& name)
      : file(std::move(opened)) {
    inForce.Pass(isf::kInformationItem, MakeTextPacket(MergeText(name)));
  }

  // Goes on to the next item that can be read; false when there is none.
  [[nodiscard]] bool Next() {
    for (auto number = file->NextItem(next); number; number = file->NextItem(next)) {
      next = *number + 1;
      auto wrong = file->ReadItem(*number, item);
      if (!wrong) {
        return true;
      }
      if (!unreadable) {
        unreadable = std::move(wrong);
      }
    }
    return false;
  }

  [[nodiscard]] bool WriteTo(cSourcedWriter& writer) {
    const bool isWritten = writer.Add({item.type, item.time, item.extra}, item.bytes, inForce);
    inForce.Pass(item.type, item.bytes);
    return isWritten;
  }

  [[nodiscard]] std::uint64_t Time() const { return item.time; }
  [[nodiscard]] const cCaptureFile& File() const { return *file; }
  [[nodiscard]] const std::optional<sCaptureError>& Unreadable() const { return unreadable; }

 private:
  std::unique_ptr<cCaptureFile> file;
  sCaptureItem item;
  std::uint64_t next = 0;
  cTextsInForce inForce;
  std::optional<sCaptureError> unreadable;
};

// The time of the first item that can be read; nothing when there is none.
[[nodiscard]] std::optional<std::uint64_t> FirstTime(cCaptureFile& file) {
  for (auto number = file.NextItem(0); number; number = file.NextItem(*number + 1)) {
    std::uint64_t time = 0;
    if (!file.ReadTime(*number, time)) {
      return time;
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<sMergeProblem> cMerge::Begin() {
  for (std::size_t number = 0; number < inputs.size(); ++number) {
    sCaptureError error;
    const auto file = open(inputs[number].path, error, eCheck::Directories);
    if (file == nullptr) {
      return sMergeProblem{inputs[number].path, std::move(error)};
    }
    all += file->ItemCount();
    // Also one without an item that can be read is opened in its turn, so that it is judged.
    starts.push_back({FirstTime(*file).value_or(0), number});
  }
  return std::nullopt;
}

std::optional<sMergeProblem> cMerge::Run(cCaptureWriter& writer, const tProgress& progress) {
  cSourcedWriter sourced(writer);
  std::map<std::size_t, std::unique_ptr<cOpenCapture>> underWay;
  // Where each capture goes on: in time, and with which input.
  std::set<sStart> due(starts.begin(), starts.end());
  std::uint64_t items = 0;
  while (!due.empty()) {
    const std::size_t number = due.extract(due.begin()).value().input;
    if (!underWay.contains(number)) {
      sMergeProblem problem{inputs[number].path, {kTooMany, {}}};
      auto capture = underWay.size() < kMostOpen
                         ? open(inputs[number].path, problem.error, eCheck::Records)
                         : nullptr;
      if (capture == nullptr) {
        return problem;
      }
      underWay.emplace(number,
                       std::make_unique<cOpenCapture>(std::move(capture), inputs[number].name));
    } else if (underWay.at(number)->WriteTo(sourced)) {
      progress(++items);
    } else {
      return sMergeProblem{};
    }
    cOpenCapture& capture = *underWay.at(number);
    if (capture.Next()) {
      due.insert({capture.Time(), number});
    } else {
      done(inputs[number], capture.File(), capture.Unreadable());
      underWay.erase(number);
    }
  }
  return std::nullopt;
}

}  // namespace corvane
