#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace corvane {

// A folder of a test's own, empty at first and removed with all that is in it.
class cTempDirectory {
 public:
  cTempDirectory() {
    std::random_device random;
    for (int attempt = 0; attempt < 1000; ++attempt) {
      folder = std::filesystem::temp_directory_path() /
               ("corvane-" + std::to_string(random()) + "-" + std::to_string(random()));
      if (std::filesystem::create_directory(folder)) {
        return;
      }
    }
    throw std::runtime_error("no folder for the test");
  }
  ~cTempDirectory() {
    std::error_code ignored;  // nothing can be done about what cannot be removed
    std::filesystem::remove_all(folder, ignored);
  }
  cTempDirectory(const cTempDirectory&) = delete;
  cTempDirectory& operator=(const cTempDirectory&) = delete;

  // The path of a file in the folder.
  [[nodiscard]] std::string Path(std::string_view name) const { return (folder / name).string(); }

  // Makes a file of those bytes; returns its path.
  [[nodiscard]] std::string Write(std::string_view name,
                                  std::span<const std::uint8_t> bytes) const {
    std::ofstream file(Path(name), std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    if (!file.flush()) {
      throw std::runtime_error("the test's file cannot be written");
    }
    return Path(name);
  }

 private:
  std::filesystem::path folder;
};

}  // namespace corvane
