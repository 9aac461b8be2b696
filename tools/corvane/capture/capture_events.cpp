#include "corvane/capture/capture_events.h"

#include <nlohmann/json.hpp>

#include "corvane/command/readable_text.h"
#include "corvane/reading/item_wording.h"
#include "reader/utc_time.h"

namespace corvane::tools {
namespace {

using Json = nlohmann::ordered_json;

[[nodiscard]] Json Begin(const char* event, std::uint64_t time) {
  return {{"event", event}, {"time", FormatUtc(time)}};
}

// Texts may hold bytes that are no UTF-8: paths, for one.
[[nodiscard]] std::string Text(const Json& event) { return JsonText(event); }

[[nodiscard]] double InSeconds(std::chrono::milliseconds time) {
  return static_cast<double>(time.count()) / 1000.0;
}

[[nodiscard]] Json VerdictJson(const sVerdict& verdict) {
  return {{"complete", verdict.isComplete},
          {"stuck", verdict.isStuck},
          {"requests", verdict.wanted},
          {"sent", verdict.sent},
          {"answered", verdict.answered},
          {"refused", verdict.refused},
          {"unanswered", verdict.Unanswered()},
          {"not_sent", verdict.notSent},
          {"refused_names", verdict.refusedNames},
          {"unanswered_names", verdict.unansweredNames}};
}

[[nodiscard]] Json TypesJson(const cCaptureTally& tally) {
  Json types = Json::object();
  for (std::uint32_t type = 0; type < isf::kItemTypes; ++type) {
    if (tally.ItemsByType()[type] != 0) {
      types[std::string(ItemTypeName(type))] = tally.ItemsByType()[type];
    }
  }
  return types;
}

[[nodiscard]] Json FilesJson(const cCaptureTally& tally) {
  Json files = Json::array();
  for (const sFileTally& file : tally.Files()) {
    files.push_back({{"path", file.path},
                     {"complete", file.isComplete},
                     {"items", file.items},
                     {"bytes", file.bytes}});
  }
  return files;
}

[[nodiscard]] Json GapsJson(const cCaptureTally& tally) {
  Json gaps = Json::array();
  for (const sSilence& silence : tally.Silences()) {
    gaps.push_back({{"from", FormatUtc(silence.from)}, {"to", FormatUtc(silence.to)}});
  }
  return gaps;
}

}  // namespace

std::string StartedEvent(std::uint64_t time, const sStartedEvent& started) {
  Json event = Begin("started", time);
  event["device"] = started.device;
  event["configuration"] = started.configuration;
  event["output"] = started.output;
  event["requests"] = started.requests;
  return Text(event);
}

std::string PortEvent(const sPortChange& change) {
  return Text(Begin(change.connected ? "connected" : "disconnected", change.time));
}

std::string StatusEvent(std::uint64_t time, const sProgress& progress, double rate,
                        std::uint64_t badFrames) {
  Json event = Begin("status", time);
  event["elapsed"] = InSeconds(progress.elapsed);
  event["items"] = progress.items;
  event["bytes"] = progress.bytes;
  event["received"] = progress.received;
  event["rate"] = rate;
  event["bad_frames"] = badFrames;
  event["connected"] = progress.isConnected;
  event["silence"] = InSeconds(progress.silence);
  event["set_up"] = {
      {"requests", progress.setUp.wanted},       {"sent", progress.setUp.sent},
      {"answered", progress.setUp.answered},     {"refused", progress.setUp.refused},
      {"complete", progress.setUp.IsComplete()}, {"stuck", progress.setUp.IsStuck()}};
  return Text(event);
}

std::string SetUpEvent(std::uint64_t time, const sVerdict& verdict) {
  Json event = Begin("set_up", time);
  event.update(VerdictJson(verdict));
  return Text(event);
}

std::string MarkerEvent(std::uint64_t time, const std::string& text) {
  Json event = Begin("marker", time);
  event["text"] = text;
  return Text(event);
}

std::string ProblemEvent(std::uint64_t time, const char* kind, const std::string& text) {
  Json event = Begin(kind, time);
  event["text"] = text;
  return Text(event);
}

std::string RotatedEvent(std::uint64_t time, const sRotatedEvent& rotated) {
  Json event = Begin("rotated", time);
  event["closed"] = rotated.closed;
  event["output"] = rotated.output;
  event["change"] = InSeconds(rotated.change);
  return Text(event);
}

std::string ResumedEvent(std::uint64_t time, const std::string& output,
                         std::optional<std::uint64_t> silence) {
  Json event = Begin("resumed", time);
  event["output"] = output;
  if (silence) {
    event["silence"] = static_cast<double>(*silence) / 1000.0;
  }
  return Text(event);
}

std::string RemovedEvent(std::uint64_t time, const std::vector<std::string>& files) {
  Json event = Begin("removed", time);
  event["files"] = files;
  return Text(event);
}

std::string StoppedEvent(std::uint64_t time, const char* reason) {
  Json event = Begin("stopped", time);
  event["reason"] = reason;
  return Text(event);
}

std::string SummaryEvent(std::uint64_t time, const cCaptureTally& tally,
                         const sPrintedCounts& printed, int exitCode) {
  Json event = Begin("summary", time);
  event["exit_code"] = exitCode;
  event["items"] = tally.Items();
  event["bytes"] = tally.Bytes();
  event["received"] = tally.Received();
  event["items_by_type"] = TypesJson(tally);
  event["bad_frames"] = printed.badFrames;
  event["refused_packets"] = printed.refused;
  event["unwritten_packets"] = printed.unwritten;
  event["connections"] = tally.Connections();
  event["set_up"] = VerdictJson(tally.Verdict());
  event["gaps"] = GapsJson(tally);
  event["file_count"] = tally.FileCount();
  event["files"] = FilesJson(tally);
  if (tally.ChangeCount() != 0) {
    event["longest_change"] = InSeconds(tally.LongestChange().change);
    if (const auto silence = tally.LongestChange().silence) {
      event["longest_silence_of_change"] = static_cast<double>(*silence) / 1000.0;
    }
  }
  return Text(event);
}

}  // namespace corvane::tools
