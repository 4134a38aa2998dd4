#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iostream>

#include "cli/command.h"
#include "galvix/report.h"
#include "render/render.h"

// In sanitizer builds: fontconfig keeps its configuration for the life of the process, which
// LeakSanitizer would report (and fail the run for) at exit.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig\n";
}

namespace galvix::cli {
std::vector<Setup>& registry() {
  static std::vector<Setup> r;
  return r;
}

void refuseInputAsOutput(const std::string& output, const std::string& input) {
  struct stat out {
  }, in{};
  if (::stat(output.c_str(), &out) != 0 || ::stat(input.c_str(), &in) != 0) return;
  if (out.st_dev == in.st_dev && out.st_ino == in.st_ino)
    throw Exit{2, "galvix: '" + output + "' is the input '" + input +
                      "' itself; give another output file (nothing was written)"};
}

void refuseToReplace(const std::string& output, bool force) {
  std::error_code ec;
  if (!force && std::filesystem::exists(output, ec))
    throw Exit{2, "galvix: '" + output + "' exists; add --force to replace it"};
}

namespace {
std::size_t distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> prev(b.size() + 1), cur(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) prev[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    cur[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool same = std::tolower(static_cast<unsigned char>(a[i - 1])) ==
                        std::tolower(static_cast<unsigned char>(b[j - 1]));
      cur[j] = std::min({prev[j] + 1, cur[j - 1] + 1, prev[j - 1] + (same ? 0 : 1)});
    }
    std::swap(prev, cur);
  }
  return prev[b.size()];
}
}  // namespace

std::vector<std::string> closest(const std::string& word,
                                 const std::vector<std::string>& candidates, std::size_t max) {
  std::vector<std::pair<std::size_t, std::string>> scored;
  for (const auto& c : candidates) {
    const std::size_t d = distance(word, c);
    // Close means a few typing slips, or one name holding the other.
    const bool contains = word.size() >= 3 && (c.find(word) != std::string::npos);
    if (d <= std::max<std::size_t>(2, word.size() / 3) || contains) scored.emplace_back(d, c);
  }
  std::stable_sort(scored.begin(), scored.end(),
                   [](const auto& x, const auto& y) { return x.first < y.first; });
  std::vector<std::string> out;
  for (const auto& [d, c] : scored)
    if (out.size() < max) out.push_back(c);
  return out;
}

std::string didYouMean(const std::string& word, const std::vector<std::string>& candidates) {
  auto close = closest(word, candidates);
  if (close.empty()) return {};
  std::string s = "; did you mean";
  for (std::size_t i = 0; i < close.size(); ++i)
    s += std::string(i == 0 ? " \"" : i + 1 == close.size() ? " or \"" : ", \"") + close[i] + "\"";
  return s + "?";
}
}  // namespace galvix::cli

int main(int argc, char** argv) {
  CLI::App app{"galvix: event-planning reports to PDF, PNG and SVG"};
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("galvix ") + galvix::version());
  app.footer(
      "Exit status: 0 done (an empty report is still done), 1 a run or its output failed, 2 bad "
      "usage: an unknown command, option, report, property, locale, event or party.");
  // An interrupted run leaves no half-written output beside the user's files.
  galvix::render::removePartialOutputsOnSignals();
  for (auto& setup : galvix::cli::registry()) setup(app);
  try {
    // A mistyped command would otherwise read as "a subcommand is required".
    std::vector<std::string> names;
    for (const auto* sub : app.get_subcommands([](CLI::App*) { return true; }))
      names.push_back(sub->get_name());
    if (argc > 1 && argv[1][0] != '-' &&
        std::find(names.begin(), names.end(), argv[1]) == names.end()) {
      throw galvix::cli::Exit{2, std::string("galvix: unknown command '") + argv[1] + "'" +
                                     galvix::cli::didYouMean(argv[1], names) +
                                     "\n(`galvix --help` lists the commands)"};
    }
    // `render NAME --help` describes that report rather than the command.
    if (argc > 3 && std::string(argv[1]) == "render" && argv[2][0] != '-')
      for (int i = 3; i < argc; ++i)
        if (std::string(argv[i]) == "--help" || std::string(argv[i]) == "-h")
          return galvix::cli::describe(argv[2], std::cout);
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? 0 : 2;
  } catch (const galvix::cli::Exit& e) {
    if (!e.message.empty()) std::cerr << e.message << "\n";
    return e.code;
  } catch (const std::exception& e) {
    std::cerr << "galvix: " << e.what() << "\n";
    return 1;
  }
  return 0;
}
