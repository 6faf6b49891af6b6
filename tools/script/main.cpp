// anagparc-script: runs the program from a text of user actions.
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frame/ANAGPARC.h"
#include "platform/system/console.h"
#include "platform/system/environment.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"
#include "script.h"
#include "version.h"
#ifdef ANAGPARC_WITH_QT
#include "qt_actions.h"
#endif

namespace {

constexpr std::string_view kUsage =
    "uso: anagparc-script [--screen none|qt] [--command-line TESTO] [FILE]\n"
    "     anagparc-script --version\n";

struct Options {
  bool qt = false;
  std::string commandLine;
  std::string file;  // empty: standard input
};

std::optional<Options> Read(const std::vector<std::string>& words) {
  Options options;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string_view word = words[i];
    if (word == "--screen" && i + 1 < words.size()) {
      const std::string_view screen = words[++i];
      if (screen != "none" && screen != "qt") {
        return std::nullopt;
      }
      options.qt = screen == "qt";
    } else if (word == "--command-line" && i + 1 < words.size()) {
      options.commandLine = words[++i];
    } else if (options.file.empty() && !word.empty() && !word.starts_with("--")) {
      options.file = word;
    } else {
      return std::nullopt;
    }
  }
  return options;
}

int RunScript(std::istream& lines, script::Answers& answers, script::Actions& actions) {
  script::Printer printer(std::cout);
  toolkit::App().clock = script::Clock;
  toolkit::App().witness = &printer;
  if (ANAGPARC::Me.Load()) {
    actions.Begin();
    ANAGPARC::Me.Activate();
    script::Run(lines, std::cout, answers, actions);
  }
  std::cout.flush();
  toolkit::App().witness = nullptr;
  if (!toolkit::App().ended) {
    return 0;
  }
  return toolkit::App().status;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words = sys::Arguments(argc, argv);
  sys::SpeakUtf8();
  if (words.size() == 1 && words[0] == "--version") {
    std::cout << "anagparc-script " << kVersion << '\n';
    return 0;
  }
  const auto options = Read(words);
  if (!options) {
    std::cerr << kUsage;
    return 2;
  }
  std::ifstream file;
  if (!options->file.empty()) {
    file.open(sys::PathOf(options->file));
    if (!file) {
      std::cerr << "impossibile leggere " << options->file << '\n';
      return 2;
    }
  }
  std::istream& lines = options->file.empty() ? std::cin : file;

  ANAGPARC::PREPARAPROGRAMMA(text::FromUtf8(options->commandLine));
  script::Answers answers;
  if (options->qt) {
#ifdef ANAGPARC_WITH_QT
    const auto actions = script::MakeQtActions(answers);
    return RunScript(lines, answers, *actions);
#else
    std::cerr << "anagparc-script: compilato senza Qt, --screen qt non c'è\n";
    return 2;
#endif
  }
  script::NoScreen screen(answers);
  script::ModelActions actions;
  toolkit::App().view = &screen;
  const int status = RunScript(lines, answers, actions);
  toolkit::App().view = nullptr;
  return status;
}
