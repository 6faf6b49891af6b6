#include "program.h"

#include <ctime>
#include <utility>

#include "archivio/archivio.h"
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"

using namespace ANAGPARC;

Program::Program()
    : own_(std::in_place), place_(own_->Path()), file_(place_ / archivio::kYearName) {
  archivio::WriteTemplate(Template());
  SetRegistry(place_ / "registro.reg", Place());
  SetVariable("MORVENNA_REGISTRO", place_ / "registro.reg");
  SetVariable("XDG_RUNTIME_DIR", Place());
  SetVariable("XDG_STATE_HOME", place_ / "stato");
}

Program::Program(const std::filesystem::path& place)
    : place_(place), file_(place_ / archivio::kYearName) {}

Program::~Program() {
  Stop();
  toolkit::App() = {};
}

std::filesystem::path Program::MakeCopies() {
  std::filesystem::create_directory(place_ / "copie");
  SetRegistry(place_ / "registro.reg", Place(), place_ / "copie");
  char name[32];
  const std::time_t now = std::time(nullptr);
  std::strftime(name, sizeof name, "S7702015-%Y-%m-%d.MDB", std::localtime(&now));
  return place_ / "copie" / name;
}

std::filesystem::path Program::Template() const { return place_ / archivio::kTemplateName; }

bool Program::Start() {
  Stop();
  PREPARAPROGRAMMA(u"");
  toolkit::App().view = this;
  toolkit::App().activate = nullptr;
  toolkit::App().start = nullptr;
  if (!Me.Load()) {
    return false;
  }
  Me.Activate();
  return true;
}

void Program::Stop() {
  if (Running()) {
    Me.UserClose();
  }
}

bool Program::Running() const { return Me.Loaded() && !toolkit::App().ended; }

bool Program::Select(std::u16string_view code) {
  using MOD770BAS::CHIAVECODICE;
  int row = 0;
  while (!code.empty() && row < List1.ListCount() &&
         CHIAVECODICE(List1.List(row).substr(0, 16)) != CHIAVECODICE(code)) {
    ++row;
  }
  return Me.UserClickRow(List1, row);
}

bool Program::Open(std::u16string_view code) {
  return Select(code) && Me.UserDblClickRow(List1, List1.ListIndex()) && Frmmoduli(0).Visible();
}

bool Program::Insert(std::u16string_view code, std::u16string_view name) {
  Open(u"");
  Type(TEXTCF, code);
  Type(TextCOGNO, name);
  return Me.UserClick(CmdInserimento(0)) && Frmmoduli(0).Visible();
}

bool Program::BeginChange(std::u16string_view from, std::u16string_view to) {
  if (!Select(from) || !Me.UserClick(CmdCambia)) {
    return false;
  }
  Type(Text2, to);
  return Text2.Text() == to;
}

void Program::Type(toolkit::TextBox& box, std::u16string_view text) {
  Me.UserFocus(box);
  Me.UserSelectAll();
  Me.UserKey({.key = toolkit::Key::Delete});
  for (std::size_t i = 0; i < text.size(); ++i) {
    Me.UserKey({.text = text.substr(i, 1)});
  }
}

std::vector<toolkit::Message> Program::TakeBoxes() { return std::exchange(asked, {}); }
