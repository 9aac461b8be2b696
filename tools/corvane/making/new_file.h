#pragma once

#include <optional>
#include <string>

#include "corvane/making/unfinished_file.h"

namespace corvane::tools {

// The file that a command makes. Until it is complete it has another name in the same folder, so
// that nobody takes half of it for the whole, and a file that it replaces stays as it is. The other
// name is one that nothing had, no link either. Unless Complete was called, nothing of it is left,
// also when the program is ended from outside (unfinished_file.h).
class cNewFile {
 public:
  // What becomes of a symbolic link that has the name and may be replaced.
  enum class eLinks {
    Followed,  // the file that it leads to is replaced; the link itself where it leads to none
    Replaced   // for a name that the user has not given: it leads nowhere else
  };

  cNewFile(std::string path, bool mayReplace, eLinks onLinks = eLinks::Followed)
      : wanted(std::move(path)), replaces(mayReplace), links(onLinks) {}
  cNewFile(const cNewFile&) = delete;
  cNewFile& operator=(const cNewFile&) = delete;
  ~cNewFile();

  // Chooses the name to write to, and makes an empty file of it. Returns why the file may not be
  // made, as a sentence for the user, or nothing: a file of that name is there and may not be
  // replaced, or it is a folder, or has no name.
  [[nodiscard]] std::optional<std::string> Begin();

  // The same for a capture, which is written here and there: neither may it be a device or a pipe.
  [[nodiscard]] std::optional<std::string> BeginCapture();

  // Where to write, once Begin found nothing against it. A device or a pipe is written itself.
  [[nodiscard]] const std::string& WritePath() const { return written; }

  // Gives the file its name, when it has been written whole and is open no more. Returns why that
  // failed, as a sentence for the user; nothing of it is left then.
  [[nodiscard]] std::optional<std::string> Complete();

 private:
  [[nodiscard]] bool IsTaken() const;
  [[nodiscard]] std::string IsThere() const;

  std::string wanted;
  bool replaces;
  eLinks links;
  std::string written;
  std::optional<cUnfinishedFile> unfinished;
};

// Whether two paths lead to the same file. Files that cannot be compared are not the same one.
[[nodiscard]] bool AreSameFile(const std::string& one, const std::string& other);

}  // namespace corvane::tools
