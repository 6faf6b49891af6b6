#include "program.h"

#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <utility>

#include "archivio/archivio.h"
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"

namespace fs = std::filesystem;
using ANAGPARC::Me;

Program::Program() {
  // In memory where that can be: each commit waits for the disk otherwise.
  const fs::path memory = "/dev/shm";
  const fs::path place = access(memory.c_str(), W_OK) == 0 ? memory : fs::temp_directory_path();
  std::string name = place / "anagparc_test.XXXXXX";
  folder_ = mkdtemp(name.data());
  file_ = folder_ / archivio::kYearName;
  archivio::WriteTemplate(Template());
  const fs::path registry = folder_ / "registro.reg";
  SetBytes(registry,
           "REGEDIT4\n[HKEY_CURRENT_USER\\SOFTWARE\\CALVENZA\\MORVENNA]\n"
           "\"PERCORSOARCHIVI\"=\"" +
               folder_.native() + "\"\n");
  setenv("MORVENNA_REGISTRO", registry.c_str(), 1);
  setenv("XDG_RUNTIME_DIR", folder_.c_str(), 1);
}

Program::~Program() {
  Stop();
  toolkit::App() = {};
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

fs::path Program::Template() const { return folder_ / archivio::kTemplateName; }

bool Program::Start() {
  Stop();
  ANAGPARC::PREPARAPROGRAMMA(u"");
  toolkit::App().view = this;
  toolkit::App().activate = nullptr;
  toolkit::App().start = nullptr;
  return Me.Load();
}

void Program::Stop() {
  if (Running()) {
    Me.UserClose();
  }
}

bool Program::Running() const { return Me.Loaded() && !toolkit::App().ended; }

bool Program::Select(std::u16string_view code) {
  for (int row = 0; row < ANAGPARC::List1.ListCount(); ++row) {
    const std::u16string key = MOD770BAS::CHIAVECODICE(ANAGPARC::List1.List(row).substr(0, 16));
    if (code.empty() ? row == 0 : key == MOD770BAS::CHIAVECODICE(code)) {
      return Me.UserClickRow(ANAGPARC::List1, row);
    }
  }
  return false;
}

bool Program::Open(std::u16string_view code) {
  return Select(code) && Me.UserDblClickRow(ANAGPARC::List1, ANAGPARC::List1.ListIndex()) &&
         ANAGPARC::Frmmoduli(0).Visible();
}

bool Program::Insert(std::u16string_view code, std::u16string_view name) {
  Open(u"");
  Type(ANAGPARC::TEXTCF, code);
  Type(ANAGPARC::TextCOGNO, name);
  return Me.UserClick(ANAGPARC::CmdInserimento(0)) && ANAGPARC::Frmmoduli(0).Visible();
}

bool Program::BeginChange(std::u16string_view from, std::u16string_view to) {
  if (!Select(from) || !Me.UserClick(ANAGPARC::CmdCambia)) {
    return false;
  }
  Type(ANAGPARC::Text2, to);
  return ANAGPARC::Text2.Text() == to;
}

void Program::Type(toolkit::TextBox& box, std::u16string_view text) {
  Me.UserFocus(box);
  Me.UserSelectAll();
  Me.UserKey({.key = toolkit::Key::Delete});
  for (std::size_t i = 0; i < text.size(); ++i) {
    Me.UserKey({.text = text.substr(i, 1)});
  }
}

std::vector<toolkit::Message> Program::TakeBoxes() { return std::exchange(boxes_, {}); }

int Program::Ask(const toolkit::Message& message) {
  boxes_.push_back(message);
  return message.buttons[0].code;
}

std::string Sql(const fs::path& file, const std::string& sql) {
  sqlite3* db = nullptr;
  sqlite3_open(file.c_str(), &db);
  std::string answer;
  const auto add = [](void* out, int n, char** values, char**) {
    const char* const value = values[n - 1] != nullptr ? values[n - 1] : "NULL";
    static_cast<std::string*>(out)->append(value).append("\n");
    return 0;
  };
  if (sqlite3_exec(db, sql.c_str(), add, &answer, nullptr) != SQLITE_OK) {
    answer = sqlite3_errmsg(db);
  }
  sqlite3_close(db);
  return answer;
}

std::string Bytes(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void SetBytes(const fs::path& file, std::string_view bytes) {
  std::ofstream(file, std::ios::binary)
      .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}
