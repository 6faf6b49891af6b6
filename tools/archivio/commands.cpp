#include <charconv>
#include <exception>
#include <ostream>
#include <set>

#include "archivio/archivio.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"

namespace archivio {

namespace fs = std::filesystem;

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
    "  anagparc-archivio prepara CARTELLA\n"
    "      Prepara l'utente al lavoro: fa nascere la cartella degli archivi, il modello\n"
    "      e il file di registro che la indica, dove mancano, e dice che cosa ha fatto.\n"
    "      Quello che esiste già resta com'è.\n"
    "  anagparc-archivio copia ARCHIVIO DESTINAZIONE\n"
    "      Fa una copia integra, anche mentre il programma lavora. La destinazione è\n"
    "      una cartella o un file che non esiste ancora.\n"
    "  anagparc-archivio esporta FILE [ARCHIVIO]\n"
    "      Scrive in FILE, che non deve esistere, tutti i percettori, in CSV con virgole,\n"
    "      UTF-8, i nomi delle colonne nella prima riga. Un campo senza niente è un\n"
    "      valore nullo, \"\" un testo vuoto. Senza ARCHIVIO vale l'archivio dell'anno\n"
    "      nella cartella indicata dal registro.\n"
    "  anagparc-archivio importa FILE ARCHIVIO [--salta] [--aggiorna] [--conferma]\n"
    "      Prende i percettori da un CSV così fatto. Dice le righe sbagliate, una per\n"
    "      una; se ce ne sono non scrive niente.\n"
    "      --salta     scrive le righe buone e lascia fuori le altre.\n"
    "      --aggiorna  un codice che c'è già non è un errore: quel percettore prende i\n"
    "                  valori della riga.\n"
    "      --conferma  accetta anche quello che con il programma non si può fare, o solo\n"
    "                  rispondendo a una domanda: codici formalmente errati, date,\n"
    "                  province e codici di tabella non validi, testi troppo lunghi.\n"
    "                  Così rientra quello che in un archivio è entrato per altre vie.\n"
    "  anagparc-archivio converti VECCHIO NUOVO [--conferma]\n"
    "      Scrive nel file NUOVO, o in una cartella con lo stesso nome, quello che c'è in\n"
    "      un archivio del vecchio formato (.mdb, Jet 3 o Jet 4), che resta com'è.\n"
    "      --conferma  lo scrive anche se mancano tabelle, colonne o indici del\n"
    "                  programma, se righe non si leggono o codici sono doppi.\n"
    "  anagparc-archivio --help\n"
    "Stato di uscita: 0 fatto, o archivio in ordine; 1 non riuscito, o archivio non\n"
    "in ordine, o import rifiutato; 2 uso errato.\n";

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

int RunImport(const std::vector<std::string>& files, const std::set<std::string>& options,
              std::ostream& out, std::ostream* progress) {
  const ImportResult result = Import(files[0], files[1],
                                     {.skip = options.contains("--salta"),
                                      .update = options.contains("--aggiorna"),
                                      .confirm = options.contains("--conferma")},
                                     out, progress);
  if (!result.written) {
    out << "Righe sbagliate: " << result.wrong << ". L'archivio resta com'era.\n";
    return kFailed;
  }
  out << "Percettori aggiunti: " << result.added << ", aggiornati: " << result.updated
      << ", righe saltate: " << result.wrong << ".\n";
  return kDone;
}

// The commands without an option that takes a value. Nothing if the usage is
// wrong.
std::optional<int> RunPlain(const std::string& command, const std::vector<std::string>& arguments,
                            std::ostream& out, std::ostream* progress) {
  std::vector<std::string> files;
  std::set<std::string> options;
  for (const std::string& argument : arguments) {
    if (!argument.starts_with("--")) {
      files.push_back(argument);
    } else if (command == "converti" && argument == "--conferma") {
      options.insert(argument);
    } else if (command == "importa" &&
               (argument == "--salta" || argument == "--aggiorna" || argument == "--conferma")) {
      options.insert(argument);
    } else {
      return std::nullopt;
    }
  }
  const std::size_t count = files.size();
  if (command == "verifica" && count == 1) {
    return Verify(files[0], out);
  }
  if (command == "crea" && count == 1) {
    Create(files[0], std::nullopt);
    return kDone;
  }
  if (command == "prepara" && count == 1) {
    Prepare(files[0], out);
    return kDone;
  }
  if (command == "copia" && count == 2) {
    Copy(files[0], files[1]);
    return kDone;
  }
  if (command == "esporta" && (count == 1 || count == 2)) {
    const std::size_t written = Export(count == 2 ? fs::path(files[1]) : YearArchive(), files[0]);
    out << "Percettori scritti: " << written << ".\n";
    return kDone;
  }
  if (command == "converti" && count == 2) {
    return Convert(files[0], files[1], options.contains("--conferma"), out, progress) ? kDone
                                                                                      : kFailed;
  }
  if (command == "importa" && count == 2) {
    return RunImport(files, options, out, progress);
  }
  return std::nullopt;
}

}  // namespace

int Run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
        std::ostream* progress) {
  const std::size_t count = arguments.size();
  const std::string command = count > 0 ? arguments[0] : "";
  try {
    if (command == "--help" && count == 1) {
      out << kUsage;
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
    if (count > 0) {
      if (const auto status =
              RunPlain(command, {arguments.begin() + 1, arguments.end()}, out, progress)) {
        return *status;
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
