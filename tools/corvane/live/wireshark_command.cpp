#include "corvane/live/wireshark_command.h"

#include <fmt/format.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "corvane/command/command_line.h"
#include "corvane/command/help.h"
#include "corvane/live/installed_files.h"
#include "platform/file_names.h"

namespace corvane::tools {
namespace {

namespace fs = std::filesystem;

constexpr char kLibrary[] = "corvane.dll";
// Versions of Wireshark differ in where that folder is.
constexpr char kFolderHint[] =
    "Wireshark tells it under Help, About Wireshark, Folders, Personal Extcap path";

// A file to copy, and where to.
struct sCopy {
  fs::path from;
  fs::path to;
};

[[nodiscard]] int FailWireshark(const std::string& what, std::ostream& errors) {
  errors << "corvane wireshark: " << what << '\n';
  return kExitFailed;
}

// The configurations in a folder, by name.
[[nodiscard]] std::vector<fs::path> ProfilesIn(const fs::path& folder) {
  std::vector<fs::path> profiles;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    if (entry.path().extension() == ".cfg" && entry.is_regular_file()) {
      profiles.push_back(entry.path());
    }
  }
  std::sort(profiles.begin(), profiles.end());
  return profiles;
}

// Everything that belongs into the folder.
[[nodiscard]] std::vector<sCopy> CopiesOf(const sExtcapInstallation& installation) {
  std::vector<sCopy> copies;
  copies.push_back({installation.program, installation.folder / installation.program.filename()});
  if (!installation.needsLibrary) {
    return copies;
  }
  copies.push_back({installation.program.parent_path() / kLibrary, installation.folder / kLibrary});
  if (installation.profiles) {
    for (const fs::path& profile : ProfilesIn(*installation.profiles)) {
      copies.push_back({profile, installation.folder / kProfilesBeside / profile.filename()});
    }
  }
  return copies;
}

// Throws std::runtime_error with a sentence for the user.
void MakeFolder(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (error) {
    throw std::runtime_error(
        fmt::format("the folder {} cannot be made: {}", TextOf(folder), error.message()));
  }
}

// Puts the copy into its place. Throws std::filesystem::filesystem_error, and std::runtime_error
// with a sentence for the user.
void Place(const sCopy& copy) {
  MakeFolder(copy.to.parent_path());
  fs::path unfinished = copy.to;
  unfinished += ".new";
  try {
    fs::copy_file(copy.from, unfinished, fs::copy_options::overwrite_existing);
    fs::rename(unfinished, copy.to);
  } catch (const fs::filesystem_error&) {
    std::error_code ignored;  // the failure that is told is the one that came first
    fs::remove(unfinished, ignored);
    throw;
  }
}

[[nodiscard]] bool IsPlaced(const sCopy& copy) {
  std::error_code ignored;  // files that cannot be compared are not the same one
  return fs::equivalent(copy.from, copy.to, ignored);
}

}  // namespace

int InstallExtcap(const sExtcapInstallation& installation, std::ostream& out,
                  std::ostream& errors) {
  try {
    for (const sCopy& copy : CopiesOf(installation)) {
      if (!IsPlaced(copy)) {
        Place(copy);
      }
      out << TextOf(copy.to) << '\n';
    }
  } catch (const fs::filesystem_error& error) {
    return FailWireshark(fmt::format("{} cannot be copied to {}: {}", TextOf(error.path1()),
                                     TextOf(installation.folder), error.code().message()),
                         errors);
  } catch (const std::runtime_error& error) {
    return FailWireshark(error.what(), errors);
  }
  if (installation.needsLibrary && !installation.profiles) {
    return FailWireshark(
        "no profiles were found: choose a configuration file in Wireshark's dialog", errors);
  }
  out << "Installed. Wireshark shows the new interfaces after its next start, or after Capture, "
         "Refresh Interfaces.\n";
  if (!installation.folderIsGiven) {
    out << "If it does not, its extcap folder is another one: " << kFolderHint
        << ". Give that with --folder.\n";
  }
  return kExitGood;
}

int UninstallExtcap(const sExtcapInstallation& installation, std::ostream& out,
                    std::ostream& errors) {
  bool hasRemoved = false;
  try {
    for (const sCopy& copy : CopiesOf(installation)) {
      if (fs::remove(copy.to)) {
        hasRemoved = true;
        out << "Removed " << TextOf(copy.to) << '\n';
      }
    }
    const fs::path profiles = installation.folder / kProfilesBeside;
    if (fs::is_directory(profiles) && fs::is_empty(profiles)) {
      fs::remove(profiles);
    }
  } catch (const fs::filesystem_error& error) {
    return FailWireshark(
        fmt::format("{} cannot be removed: {}", TextOf(error.path1()), error.code().message()),
        errors);
  }
  if (!hasRemoved) {
    out << fmt::format("There is nothing to remove in {}\n", TextOf(installation.folder));
  }
  return kExitGood;
}

namespace {

// What the options, and the place of the running program, make of it. Throws std::runtime_error.
[[nodiscard]] sExtcapInstallation InstallationFor(const std::string& folder) {
  sExtcapInstallation installation;
  installation.program = ProgramPath();
  // The program of Windows captures; what there is elsewhere only follows files.
  installation.needsLibrary = installation.program.extension() == ".exe";
  if (installation.needsLibrary) {
    installation.profiles = FindProfiles(installation.program.parent_path());
  }
  installation.folderIsGiven = !folder.empty();
  if (installation.folderIsGiven) {
    installation.folder = PathOf(folder);
  } else if (const auto personal = WiresharkFolder()) {
    installation.folder = *personal / "extcap";
  } else {
    throw std::runtime_error(
        "the environment does not tell where Wireshark's folder is: give --folder");
  }
  return installation;
}

}  // namespace

void AddWiresharkCommand(CLI::App& app, int& exitCode) {
  CLI::App* const command = app.add_subcommand(
      "wireshark", "Lets Wireshark capture by itself: puts this program into its extcap folder");
  command->require_subcommand(1);
  const auto folder = std::make_shared<std::string>();
  const std::vector<const char*> exitCodes = {"0 done", "1 not done", "2 wrong usage"};
  const auto add = [command, folder, &exitCodes, &exitCode](const char* name,
                                                            const char* description, auto run,
                                                            std::vector<sExample> examples) {
    CLI::App* const action = command->add_subcommand(name, description);
    action
        ->add_option("--folder", *folder,
                     fmt::format("Wireshark's extcap folder, where it is not the usual one. {}",
                                 kFolderHint))
        ->type_name("FOLDER");
    AddHelp(*action, {.examples = std::move(examples), .exitCodes = exitCodes});
    action->callback([folder, run, &exitCode] {
      try {
        exitCode = run(InstallationFor(*folder), std::cout, std::cerr);
      } catch (const std::runtime_error& error) {
        exitCode = FailWireshark(error.what(), std::cerr);
      }
    });
  };
  add("install",
      "Copies the program there, and in Windows its library and profiles; replaces an "
      "earlier copy",
      InstallExtcap,
      {{"corvane wireshark install",
        "Wireshark then lists the devices, or a file to follow, as interfaces", eNeeds::Wireshark},
       {"corvane wireshark install --folder extcap", "Into another folder"}});
  add("uninstall", "Removes them again", UninstallExtcap,
      {{"corvane wireshark uninstall", "Wireshark has no interfaces of it any more",
        eNeeds::Wireshark},
       {"corvane wireshark uninstall --folder extcap", "From another folder"}});
  AddHelp(*command,
          {.examples = {{"corvane wireshark install",
                         "Wireshark then lists the devices, or a file to follow, as interfaces",
                         eNeeds::Wireshark},
                        {"corvane wireshark install --folder extcap", "Into another folder"},
                        {"corvane wireshark uninstall --folder extcap", "Takes it away again"}},
           .exitCodes = exitCodes});
}

}  // namespace corvane::tools
