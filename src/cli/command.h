// Subcommand registry: each cmd_*.cpp adds its subcommand with a static Registration.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace galvix::cli {

// Exit codes: 0 success, 1 failure while running, 2 bad usage or unknown name.
using Setup = std::function<void(CLI::App& app)>;

std::vector<Setup>& registry();

struct Registration {
  explicit Registration(Setup s) { registry().push_back(std::move(s)); }
};

// Thrown by subcommand callbacks to end with a message on stderr and an exit code.
struct Exit {
  int code;
  std::string message;
};

// Refuses (exit 2) an output that is one of the run's inputs: the same file by device and inode,
// whatever the path, symbolic links followed. Checked before anything is written.
void refuseInputAsOutput(const std::string& output, const std::string& input);
// Refuses (exit 2) to replace an existing file unless the user said --force.
void refuseToReplace(const std::string& output, bool force);

// The candidates closest to `word` (case ignored), best first, for "did you mean".
std::vector<std::string> closest(const std::string& word,
                                 const std::vector<std::string>& candidates, std::size_t max = 3);
// "; did you mean \"a\" or \"b\"?" or "" when nothing is close.
std::string didYouMean(const std::string& word, const std::vector<std::string>& candidates);

// Chooses the regional settings from --locale (or GALVIX_LOCALE when empty); an unknown name is
// a usage error (exit 2) that blames the option or the variable it came from.
void chooseLocale(const std::string& locale);

// Prints what a catalogue report prints, its properties and a ready command; the exit status.
int describe(const std::string& name, std::ostream& out);

}  // namespace galvix::cli
