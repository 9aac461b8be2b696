#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "corvane/making/rewriting_commands.h"
#include "reader/capture_builder.h"
#include "reader/markers.h"
#include "support/temp_directory.h"

// What the tests of recover, cut and merge share.
namespace corvane::tools {

[[nodiscard]] inline sBuiltItem Text(std::uint64_t time, std::string_view text) {
  return {7, time, TextItem(text), {}};
}

[[nodiscard]] inline sBuiltItem Reply(std::uint64_t time, std::uint8_t number) {
  return {1, time, {0x1D, number}, {}};
}

class RewritingCommandsTest : public ::testing::Test {
 protected:
  [[nodiscard]] std::string Make(std::string_view name, const std::vector<sBuiltItem>& items,
                                 bool isClosed = true) {
    cCaptureBuilder builder;
    for (const sBuiltItem& item : items) {
      builder.Add(item);
    }
    return folder.Write(name, isClosed ? builder.Closed() : builder.Unclosed());
  }

  // What is in a file, an item as "+5 text" or "+5 1D 01", with its time after noon.
  [[nodiscard]] static std::vector<std::string> ItemsOf(const std::string& path) {
    sCaptureError error;
    const auto file = cCaptureFile::Open(path, error);
    std::vector<std::string> items;
    if (file == nullptr) {
      ADD_FAILURE() << error.Text();
      return items;
    }
    EXPECT_TRUE(file->IsComplete()) << file->Damage()->Text();
    sCaptureItem item;
    for (auto number = file->NextItem(0); number; number = file->NextItem(*number + 1)) {
      EXPECT_FALSE(file->ReadItem(*number, item).has_value());
      std::string line = "+" + std::to_string(item.time - kNoon) + " ";
      if (item.type == 7) {
        line += isf::LoadTextItem(item.bytes).value_or("?");
      } else {
        line += std::to_string(item.bytes.back());
      }
      items.push_back(line);
    }
    return items;
  }

  // Two zeros at each of these places.
  static void Overwrite(const std::string& path, const std::vector<std::size_t>& offsets) {
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    for (const std::size_t offset : offsets) {
      file.seekp(static_cast<std::streamoff>(offset));
      file.write("\0\0", 2);
    }
  }

  [[nodiscard]] static std::string BytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  [[nodiscard]] static std::vector<std::string> MarkersOf(const std::string& path) {
    std::vector<std::string> texts;
    cMarkerReader reader(path);
    while (const auto marker = reader.NextUntil(UINT64_MAX)) {
      texts.push_back(marker->text);
    }
    return texts;
  }

  [[nodiscard]] bool HasLeftovers() const {
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path(""))) {
      if (entry.path().string().find(".part") != std::string::npos) {
        return true;
      }
    }
    return false;
  }

  [[nodiscard]] int Recover(const std::string& input, bool overwrite = false) {
    Clear();
    return RecoverFile({input, output, overwrite}, out, errors);
  }
  [[nodiscard]] int Cut(const std::string& input, const sSelection& selection,
                        bool overwrite = false) {
    Clear();
    return CutFile({input, output, overwrite, selection}, out, errors);
  }
  [[nodiscard]] int Merge(const std::vector<std::string>& inputs, bool overwrite = false) {
    Clear();
    return MergeFiles({inputs, output, overwrite}, out, errors);
  }

  cTempDirectory folder;
  const std::string output = folder.Path("out.isf");
  std::ostringstream out;
  std::ostringstream errors;

 private:
  void Clear() {
    out.str("");
    errors.str("");
  }
};

}  // namespace corvane::tools
