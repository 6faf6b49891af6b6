#include <charconv>
#include <exception>
#include <ostream>

#include "archivio/archivio.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace archivio {

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

constexpr std::string_view kUsage =
    "Uso:\n"
    "  anagparc-archivio crea CARTELLA [--dimostrazione N]\n"
    "      Scrive nella cartella, che nasce se manca, il modello SQ4RXXXX.MDB; con\n"
    "      --dimostrazione anche l'archivio dell'anno S7702015.MDB con N percettori\n"
    "      inventati, da 0 a 1000000, gli stessi ogni volta. I file che esistono già\n"
    "      restano come sono.\n"
    "  anagparc-archivio verifica FILE\n"
    "      Dice che cosa manca all'archivio. Legge soltanto.\n"
    "  anagparc-archivio --help\n"
    "Stato di uscita: 0 fatto, o archivio in ordine; 1 non riuscito, o archivio non\n"
    "in ordine; 2 uso errato.\n";

std::optional<long> Count(const std::string& argument) {
  long number = 0;
  const char* const end = argument.data() + argument.size();
  const auto [stop, error] = std::from_chars(argument.data(), end, number);
  if (error != std::errc() || stop != end || number < 0 || number > kMostRecipients) {
    return std::nullopt;
  }
  return number;
}

int Verify(const std::string& file, std::ostream& out) {
  const std::vector<std::string> findings = Check(file);
  for (const std::string& finding : findings) {
    out << finding << '\n';
  }
  if (findings.empty()) {
    out << text::ToUtf8(sys::PathText(file)) << ": archivio completo e integro.\n";
  }
  return findings.empty() ? kDone : kFailed;
}

}  // namespace

int Run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err) {
  const std::size_t count = arguments.size();
  const std::string command = count > 0 ? arguments[0] : "";
  try {
    if (command == "--help" && count == 1) {
      out << kUsage;
      return kDone;
    }
    if (command == "verifica" && count == 2) {
      return Verify(arguments[1], out);
    }
    if (command == "crea" && count == 2 && !arguments[1].starts_with("--")) {
      Create(arguments[1], std::nullopt);
      return kDone;
    }
    if (command == "crea" && count == 4) {
      // The option may stand before the folder too.
      const std::size_t option = arguments[1] == "--dimostrazione" ? 1 : 2;
      const std::optional<long> recipients = Count(arguments[option + 1]);
      if (arguments[option] == "--dimostrazione" && recipients) {
        Create(arguments[option == 1 ? 3 : 1], recipients);
        return kDone;
      }
    }
  } catch (const std::exception& failure) {
    err << failure.what() << '\n';
    return kFailed;
  }
  err << kUsage;
  return kWrongUsage;
}

}  // namespace archivio
