#include "control/configuration.h"

#include <fstream>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "capture/connection.h"
#include "capture/session.h"
#include "filters/mask_lists.h"

namespace corvane {
namespace {

struct sFilters {
  EventIdSet eventIds;
  LogCodeSet logCodes;
  OtaTypeSet otaTypes;
  MessageLevelMap messageLevels;
};

// Everything up to the end of the file, or up to where reading it fails.
[[nodiscard]] std::string ReadText(std::ifstream& file) {
  std::string text;
  for (char character = 0; file.get(character);) {
    text += character;
  }
  return text;
}

[[nodiscard]] sFilters ParseFilters(const std::string& text) {
  sFilters filters;
  filters.eventIds = ParseEventIDs(text);
  filters.logCodes = ParseLogCodes(text);
  filters.otaTypes = ParseOTATypes(text);
  filters.messageLevels = ParseMessageLevels(text);
  return filters;
}

[[nodiscard]] bool Load(cCaptureSession& session, const char* outputPath, const char* configPath) {
  auto outputFile = std::make_unique<std::ofstream>(
      outputPath, std::ios::out | std::ios::trunc | std::ios::binary);
  if (!outputFile->is_open()) {
    return false;
  }
  sFilters filters;
  session.unwrapsSubscriptions = false;
  if (configPath != nullptr) {
    std::ifstream configFile(configPath);
    if (!configFile.is_open()) {
      return false;
    }
    const std::string text = ReadText(configFile);
    filters = ParseFilters(text);
    session.unwrapsSubscriptions = ParseMultiSim(text);
    // StartCapture replaces the session's log codes as a whole, so the OTA types switch nothing on:
    // a log code has to stand among the log codes to be asked for.
    session.logCodes.insert(filters.otaTypes.begin(), filters.otaTypes.end());
  }
  return StartCapture(session, std::move(outputFile), filters.eventIds, filters.logCodes,
                      filters.messageLevels);
}

}  // namespace

bool LoadConfiguration(cCaptureSession& session, const char* outputPath, const char* configPath) {
  if (outputPath == nullptr) {
    return false;
  }
  try {
    return Load(session, outputPath, configPath);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace corvane
