#include <algorithm>
#include <charconv>
#include <exception>
#include <map>
#include <optional>
#include <ostream>

#include "archivio/archivio.h"
#include "archivio/files.h"
#include "archivio/interruption.h"
#include "archivio/place.h"
#include "platform/system/console.h"
#include "platform/system/paths.h"
#include "platform/text/text.h"
#include "version.h"

namespace archivio {

namespace fs = std::filesystem;

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;
constexpr int kInterrupted = 128;

const std::string kProgram = "anagparc-archivio";

// What the words of a command ask for.
struct Call {
  std::vector<fs::path> files;
  std::map<std::string_view, std::string> options;  // with their values
  std::ostream& out;
  std::ostream* progress;

  bool Has(std::string_view option) const { return options.contains(option); }
};

struct Option {
  std::string_view name;
  std::string_view value;  // the name of its value; empty for none
};

struct Command {
  std::string_view name;
  std::vector<std::string_view> files;  // what they are called
  std::size_t needed;                   // how many of them can't be left out
  std::vector<Option> options;
  std::string_view help;
  std::string_view interrupted;  // what a signal has left
  int (*run)(const Call& call);
};

class WrongUsage : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

int Status(bool done) { return done ? kDone : kFailed; }

// The archive that a command names in this place, otherwise the year's.
fs::path ArchiveAt(const Call& call, std::size_t place) {
  if (place < call.files.size()) {
    return call.files[place];
  }
  return YearArchive();
}

int RunCreate(const Call& call) {
  std::optional<long> recipients;
  if (const auto given = call.options.find("--dimostrazione"); given != call.options.end()) {
    long number = -1;
    const char* const end = given->second.data() + given->second.size();
    const auto [stop, error] = std::from_chars(given->second.data(), end, number);
    if (error != std::errc() || stop != end || number < 0 || number > kMostRecipients) {
      throw WrongUsage("--dimostrazione vuole un numero da 0 a " + std::to_string(kMostRecipients) +
                       ", non \"" + given->second + "\"");
    }
    recipients = number;
  }
  Create(call.files[0], recipients, call.out, call.progress);
  return kDone;
}

int RunCheck(const Call& call) {
  const std::vector<std::string> findings = Check(call.files[0], Depth::kAll, call.progress);
  for (const std::string& finding : findings) {
    call.out << finding << '\n';
  }
  if (findings.empty()) {
    call.out << PlaceOf(call.files[0]).Name() << ": archivio completo e integro.\n";
  }
  return Status(findings.empty());
}

int RunReview(const Call& call) {
  const ReviewResult result = Review(ArchiveAt(call, 0), call.out, call.progress);
  call.out << "Percettori controllati: " << result.recipients
           << ". Segnalazioni: " << result.findings << ".\n";
  return Status(result.findings == 0);
}

int RunPrepare(const Call& call) {
  const auto copies = call.options.find("--copie");
  if (copies == call.options.end()) {
    Prepare(call.files[0], std::nullopt, call.out);
  } else if (copies->second.empty()) {
    throw WrongUsage("--copie: manca CARTELLA");
  } else {
    Prepare(call.files[0], sys::PathOf(copies->second), call.out);
  }
  return kDone;
}

int RunCopy(const Call& call) {
  Copy(call.files[0], call.files[1], call.out, call.progress);
  return kDone;
}

int RunPublish(const Call& call) {
  const auto role = call.options.find("--ruolo");
  if (role != call.options.end() && role->second.empty()) {
    throw WrongUsage("--ruolo: manca NOME");
  }
  return Publish(call.files[0], sys::PathBytes(call.files[1]),
                 role == call.options.end() ? std::nullopt : std::optional(role->second), call.out,
                 call.progress)
             ? kDone
             : kFailed;
}

int RunLink(const Call& call) {
  Link(call.files[0], sys::PathBytes(call.files[1]), call.out);
  return kDone;
}

int RunExport(const Call& call) {
  const std::size_t written =
      Export(ArchiveAt(call, 1), call.files[0], call.Has("--leggibile"), call.progress);
  call.out << "Percettori scritti: " << written << ".\n";
  return kDone;
}

int RunConvert(const Call& call) {
  return Status(
      Convert(call.files[0], call.files[1], call.Has("--conferma"), call.out, call.progress));
}

int RunImport(const Call& call) {
  const ImportResult result = Import(call.files[0], call.files[1],
                                     {.skip = call.Has("--salta"),
                                      .update = call.Has("--aggiorna"),
                                      .confirm = call.Has("--conferma")},
                                     call.out, call.progress);
  if (!result.written) {
    call.out << "Righe sbagliate: " << result.wrong << ". L'archivio resta com'era.\n";
    return kFailed;
  }
  call.out << "Percettori aggiunti: " << result.added << ", aggiornati: " << result.updated
           << ", righe saltate: " << result.wrong << ".\n";
  return kDone;
}

// In the order of the help.
const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
      {"crea",
       {"CARTELLA"},
       1,
       {{"--dimostrazione", "N"}},
       "Scrive nella cartella, che nasce se manca, il modello SQ4RXXXX.MDB; con\n"
       "--dimostrazione anche l'archivio dell'anno S7702015.MDB con N percettori\n"
       "inventati, da 0 a 1000000, gli stessi ogni volta. I file che esistono già\n"
       "restano come sono.\n",
       "Interrotto: non è stato scritto niente.",
       RunCreate},
      {"verifica",
       {"ARCHIVIO"},
       1,
       {},
       "Dice che cosa manca all'archivio, e quali valori dei percettori e delle\n"
       "certificazioni non sono testi, per riga e colonna; di un archivio su un server\n"
       "anche che cosa questo utente non vi può fare. Legge soltanto.\n",
       "Interrotto: la verifica non è finita.",
       RunCheck},
      {"controlla",
       {"ARCHIVIO"},
       0,
       {},
       "Elenca le anagrafiche da riguardare: sesso, data, comune o provincia di nascita\n"
       "diversi dal codice fiscale, province che non sono quelle del comune, campi\n"
       "della nascita vuoti anche se c'è il nome, nomi che stanno sotto più codici.\n"
       "Legge soltanto. Senza ARCHIVIO vale l'archivio dell'anno nella cartella\n"
       "indicata dal registro.\n",
       "Interrotto: il controllo non è finito.",
       RunReview},
      {"prepara",
       {"CARTELLA"},
       1,
       {{"--copie", "CARTELLA"}},
       "Prepara l'utente al lavoro: fa nascere la cartella degli archivi, il modello\n"
       "e il file di registro che la indica, dove mancano, e dice che cosa ha fatto.\n"
       "Quello che esiste già resta com'è.\n"
       "--copie  la cartella, che deve esistere, dove il programma mette da sé una copia\n"
       "         dell'archivio alla fine di ogni giorno di lavoro; anche per chi è già\n"
       "         preparato, o per cambiarla.\n",
       "Interrotto: è fatto soltanto quello che è stato detto.",
       RunPrepare},
      {"copia",
       {"ARCHIVIO", "DESTINAZIONE"},
       2,
       {},
       "Fa una copia integra, anche mentre il programma lavora. La destinazione è\n"
       "una cartella o un file che non esiste ancora. Una scrittura nell'archivio che\n"
       "è stata interrotta viene prima annullata. Di un archivio su un server fa un file,\n"
       "con tutte le tabelle come sono in uno stesso momento.\n",
       "Interrotto: non è stato scritto niente.",
       RunCopy},
      {"pubblica",
       {"ARCHIVIO", "URI"},
       2,
       {{"--ruolo", "NOME"}},
       "Mette l'archivio di un file, con tutte le sue tabelle, in un database PostgreSQL\n"
       "che esiste e non ne ha nessuna: tutto o niente. URI è l'indirizzo, come\n"
       "postgresql://server.ufficio/s7702015. Il file resta com'è. I valori che sul\n"
       "server non possono stare vengono detti, per riga e colonna, prima di scrivere.\n"
       "--ruolo  dà a quel ruolo del server i permessi che servono per lavorare con il\n"
       "         programma, e nessun altro.\n",
       "Interrotto: sul server non è stato scritto niente.",
       RunPublish},
      {"collega",
       {"CARTELLA", "URI"},
       2,
       {},
       "Scrive nella cartella il file S7702015.MDB con l'indirizzo dell'archivio sul\n"
       "server, dopo averlo provato: il programma lavora poi su quello. Un file che\n"
       "esiste già resta com'è. La password non sta nell'indirizzo ma in ~/.pgpass.\n",
       "Interrotto: non è stato scritto niente.",
       RunLink},
      {"esporta",
       {"FILE", "ARCHIVIO"},
       1,
       {{"--leggibile", ""}},
       "Scrive in FILE, che non deve esistere, tutti i percettori, in CSV con virgole,\n"
       "UTF-8, i nomi delle colonne nella prima riga, i testi tra virgolette. Un campo\n"
       "senza niente è un valore nullo. Senza ARCHIVIO vale l'archivio dell'anno nella\n"
       "cartella indicata dal registro.\n"
       "--leggibile  nomi delle colonne e date come sullo schermo; un apostrofo davanti\n"
       "             ai testi che un foglio elettronico eseguirebbe come formule.\n",
       "Interrotto: non è stato scritto niente.",
       RunExport},
      {"importa",
       {"FILE", "ARCHIVIO"},
       2,
       {{"--salta", ""}, {"--aggiorna", ""}, {"--conferma", ""}},
       "Prende i percettori da un CSV come quelli di esporta; le colonne possono essere\n"
       "separate anche da punti e virgola o tabulazioni. Dice le righe sbagliate, una\n"
       "per una; se ce ne sono non scrive niente.\n"
       "--salta     scrive le righe buone e lascia fuori le altre.\n"
       "--aggiorna  un codice che c'è già non è un errore: quel percettore prende i\n"
       "            valori della riga.\n"
       "--conferma  accetta anche quello che con il programma non si può fare, o solo\n"
       "            rispondendo a una domanda: codici formalmente errati, date,\n"
       "            province e codici di tabella non validi, testi troppo lunghi.\n"
       "            Così rientra quello che in un archivio è entrato per altre vie.\n",
       "Interrotto: l'archivio è come prima.",
       RunImport},
      {"converti",
       {"VECCHIO", "NUOVO"},
       2,
       {{"--conferma", ""}},
       "Scrive nel file NUOVO, o in una cartella con lo stesso nome, quello che c'è in\n"
       "un archivio del vecchio formato (.mdb, Jet 3 o Jet 4), che resta com'è.\n"
       "--conferma  lo scrive anche se mancano tabelle, colonne o indici del\n"
       "            programma, se righe non si leggono o codici sono doppi, se il file è\n"
       "            danneggiato, o se un file .ldb dice che qualcuno lo usa.\n",
       "Interrotto: non è stato scritto niente.",
       RunConvert},
  };
  return commands;
}

void AppendHelp(std::string& help, const Command& command) {
  help += "  " + kProgram + ' ' + std::string(command.name);
  for (std::size_t i = 0; i < command.files.size(); ++i) {
    const std::string file(command.files[i]);
    if (i < command.needed) {
      help += ' ' + file;
    } else {
      help += " [" + file + ']';
    }
  }
  for (const Option& option : command.options) {
    std::string words(option.name);
    if (!option.value.empty()) {
      words += ' ' + std::string(option.value);
    }
    help += " [" + words + ']';
  }
  help += '\n';
  for (std::string_view rest = command.help; !rest.empty();) {
    const std::size_t end = rest.find('\n') + 1;
    help += "      " + std::string(rest.substr(0, end));
    rest.remove_prefix(end);
  }
}

// Of one command, or of all.
std::string Help(const Command* only) {
  std::string help = "Uso:\n";
  for (const Command& command : Commands()) {
    if (only == nullptr || only == &command) {
      AppendHelp(help, command);
    }
  }
  if (only == nullptr) {
    help += "  " + kProgram + " --version\n  " + kProgram + " [COMANDO] --help\n";
  }
  return help +
         "ARCHIVIO è un file; per verifica, controlla, copia, esporta e importa anche\n"
         "l'indirizzo di un archivio su un server, o il file scritto da collega.\n"
         "Un nome che comincia per - va dopo --. Stato di uscita: 0 fatto, o archivio in\n"
         "ordine; 1 non riuscito, o archivio non in ordine, o segnalazioni, o import\n"
         "rifiutato; 2 uso errato; 130 o 143 interrotto.\n";
}

// Reads the option at words[at]; returns the place of its last word, which may be its value.
std::size_t ReadOption(const Command& command, const std::vector<std::string>& words,
                       std::size_t at, Call& call) {
  const std::string& word = words[at];
  const std::size_t equals = word.find('=');
  const std::string name = word.substr(0, equals);
  const auto option = std::ranges::find(command.options, name, &Option::name);
  if (option == command.options.end()) {
    throw WrongUsage("opzione sconosciuta \"" + name + '"');
  }
  std::string& value = call.options[option->name];
  value.clear();
  if (option->value.empty()) {
    if (equals != word.npos) {
      throw WrongUsage(name + " non vuole un valore");
    }
    return at;
  }
  if (equals != word.npos) {
    value = word.substr(equals + 1);
    return at;
  }
  if (at + 1 == words.size()) {
    throw WrongUsage(name + ": manca " + std::string(option->value));
  }
  value = words[at + 1];
  return at + 1;
}

void CheckFiles(const Command& command, const std::vector<fs::path>& files) {
  if (files.size() < command.needed) {
    throw WrongUsage("manca " + std::string(command.files[files.size()]));
  }
  if (files.size() > command.files.size()) {
    throw WrongUsage("argomento di troppo \"" + sys::PathBytes(files[command.files.size()]) + '"');
  }
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (files[i].empty()) {
      throw WrongUsage(std::string(command.files[i]) + " è vuoto");
    }
  }
}

// Reads the words after the command. False where help is asked for.
bool ReadWords(const Command& command, const std::vector<std::string>& words, Call& call) {
  bool options_end = false;
  for (std::size_t i = 1; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (options_end || !word.starts_with('-') || word == "-") {
      call.files.push_back(sys::PathOf(word));
    } else if (word == "--") {
      options_end = true;
    } else if (word == "-h" || word == "--help") {
      return false;
    } else {
      i = ReadOption(command, words, i, call);
    }
  }
  CheckFiles(command, call.files);
  return true;
}

int RunCommand(const Command& command, const std::vector<std::string>& words, std::ostream& out,
               std::ostream& err, std::ostream* progress) {
  try {
    Call call = {{}, {}, out, progress};
    if (!ReadWords(command, words, call)) {
      out << Help(&command);
      return kDone;
    }
    return command.run(call);
  } catch (const WrongUsage& wrong) {
    err << kProgram << ' ' << command.name << ": " << wrong.what() << ". Aiuto: " << kProgram << ' '
        << command.name << " --help\n";
    return kWrongUsage;
  } catch (const std::exception& failure) {
    if (CaughtSignal() != 0) {
      err << command.interrupted << '\n';
      return kInterrupted + CaughtSignal();
    }
    err << failure.what() << '\n';
    return kFailed;
  }
}

// What is wrong with a first word that is no command.
std::string WrongCommand(const std::string& word) {
  if (word.starts_with('-')) {
    return "opzione sconosciuta \"" + word + '"';
  }
  return "comando sconosciuto \"" + word + '"';
}

}  // namespace

int Run(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
        std::ostream* progress) {
  std::string first;
  std::string wrong = "manca il comando";
  if (!arguments.empty()) {
    first = arguments[0];
    wrong = WrongCommand(first);
  }
  const auto command = std::ranges::find(Commands(), first, &Command::name);
  int status = kDone;
  if (command != Commands().end()) {
    status = RunCommand(*command, arguments, out, err, progress);
  } else if (first == "-h" || first == "--help") {
    out << Help(nullptr);
  } else if (first == "--version") {
    out << kProgram << ' ' << kVersion << '\n';
  } else {
    err << kProgram << ": " << wrong << ". Aiuto: " << kProgram << " --help\n";
    return kWrongUsage;
  }
  if (const std::optional<std::u16string> fault = sys::FlushFault(out)) {
    std::string message = "Impossibile scrivere sull'uscita";
    if (!fault->empty()) {
      message += ": " + text::ToUtf8(*fault);
    }
    err << message << ".\n";
    if (status == kDone) {
      status = kFailed;
    }
  }
  return status;
}

}  // namespace archivio
