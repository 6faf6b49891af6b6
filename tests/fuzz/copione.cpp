// The script language: any lines are read and run without harm, by hands that do
// nothing, and a text that is quoted comes back.
#include <sstream>

#include "frame/ANAGPARC.h"
#include "fuzz.h"
#include "platform/text/text.h"
#include "script/script.h"

namespace {

class IdleHands : public script::Hands {
 public:
  bool Click(toolkit::Control&) override { return true; }
  bool ClickRow(toolkit::ListBox&, int) override { return true; }
  bool DblClickRow(toolkit::ListBox&, int) override { return true; }
  bool Focus(toolkit::Control&) override { return false; }
  bool Caret(int) override { return true; }
  bool Key(const toolkit::KeyStroke&) override { return true; }
  bool Paste(std::u16string_view) override { return true; }
  bool Access(char16_t) override { return false; }
  bool Close() override { return true; }
  bool Screenshot(const std::string&) override { return true; }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool built = (ANAGPARC::CARICAMODULO(), true);
  Must(built, "no form");

  const std::u16string text = Input(data, size).Text();
  const auto words = script::Split(text::FromUtf8(script::Quote(text)));
  Must(words.size() == 1 && words[0].quoted && words[0].text == text, "a text doesn't come back");

  IdleHands hands;
  script::Answers answers;
  std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
  for (std::string line; std::getline(lines, line);) {
    std::ostringstream out;
    try {
      script::RunLine(text::FromUtf8(line), out, answers, hands);
    } catch (const script::Error& error) {
      Must(!error.text.empty(), "an error without a text");
    }
  }
  return 0;
}
