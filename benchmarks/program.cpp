#include "program.h"

#include <QApplication>
#include <QKeyEvent>
#include <QTest>
#include <optional>
#include <stdexcept>
#include <utility>

#include "archives.h"
#include "frame/ANAGPARC.h"
#include "frame/MOD770BAS.h"

namespace bench {

namespace fs = std::filesystem;
using namespace ANAGPARC;

namespace {
std::unique_ptr<MeasuredProgram> running;
std::pair<fs::path, Show> what_runs;
}  // namespace

MeasuredProgram::MeasuredProgram(const fs::path& archive, Show show) {
  Choose(archive);
  toolkit::App() = {};
  PREPARAPROGRAMMA(u"/R bench");
  toolkit::App().activate = nullptr;
  toolkit::App().start = nullptr;
  if (show == Show::Window) {
    window_ = std::make_unique<desktop::Window>(Me);
    toolkit::App().view = window_.get();
  }
  if (!Me.Load()) {
    throw std::runtime_error("the program hasn't come up");
  }
  if (window_ != nullptr) {
    window_->Show();
    ShowDrawn(window_->Widget());
  }
}

MeasuredProgram::~MeasuredProgram() {
  toolkit::App() = {};
  MOD770BAS::CHIUDIDATABASE();
  MOD770BAS::AZZERASTATO();
}

void MeasuredProgram::Click(toolkit::Control& control) {
  if (window_ == nullptr) {
    Me.UserClick(control);
    return;
  }
  QTest::mouseClick(window_->WidgetOf(control), Qt::LeftButton);
  Draw();
}

namespace {

template <class Act>
void AtRow(desktop::Window& window, toolkit::ListBox& list, int row, Act act) {
  const auto place = window.ShowRow(list, row);
  act(window.Widget().windowHandle(), place.value());
}

}  // namespace

void MeasuredProgram::ClickRow(toolkit::ListBox& list, int row) {
  if (window_ == nullptr) {
    Me.UserClickRow(list, row);
    return;
  }
  AtRow(*window_, list, row, [](QWindow* window, QPoint place) {
    QTest::mouseClick(window, Qt::LeftButton, {}, place);
  });
  Draw();
}

void MeasuredProgram::DblClickRow(toolkit::ListBox& list, int row) {
  if (window_ == nullptr) {
    Me.UserDblClickRow(list, row);
    return;
  }
  AtRow(*window_, list, row, [](QWindow* window, QPoint place) {
    QTest::mouseDClick(window, Qt::LeftButton, {}, place);
  });
  Draw();
}

void MeasuredProgram::Key(const QString& character) {
  if (window_ != nullptr) {
    SendKey(*window_->WidgetOf(*Me.Focus()), character);
    Draw();
  } else if (character == "\b") {
    Me.UserKey({.key = toolkit::Key::Backspace});
  } else {
    const char16_t unit = character.at(0).unicode();
    Me.UserKey({.text = {&unit, 1}});
  }
}

void MeasuredProgram::Draw() { bench::Draw(window_->Widget()); }

void MeasuredProgram::Settle() {
  if (window_ != nullptr) {
    window_->Sync();
    Draw();
  }
}

MeasuredProgram& Running(const fs::path& archive, Show show) {
  if (running == nullptr || what_runs != std::pair(archive, show)) {
    running.reset();
    running = std::make_unique<MeasuredProgram>(archive, show);
    what_runs = {archive, show};
  }
  return *running;
}

void EndRunning() { running.reset(); }

void SendKey(QWidget& widget, const QString& character) {
  const bool back = character == "\b";
  QKeyEvent press(QEvent::KeyPress,
                  back ? int{Qt::Key_Backspace} : character.at(0).toUpper().unicode(), {},
                  character);
  QCoreApplication::sendEvent(&widget, &press);
}

void Draw(QWidget& window) {
  QEvent paint(QEvent::UpdateRequest);
  QCoreApplication::sendEvent(&window, &paint);
}

void ShowDrawn(QWidget& window) {
  window.show();
  Activate(window);
}

void Activate(QWidget& window) {
  window.activateWindow();
  if (!QTest::qWaitForWindowActive(&window)) {
    throw std::runtime_error("the window hasn't come up");
  }
  QApplication::processEvents();
  Draw(window);
}

void OpenRecord(int row) {
  LeaveRecord();
  Me.UserClickRow(List1, row);
  Me.UserDblClickRow(List1, row);
}

void LeaveRecord() {
  for (toolkit::Frame* frame : {&Frmmoduli(0), &Frmbottoni, &Frmtestata}) {
    frame->SetVisible(false);
  }
  FrmSelezione.SetVisible(true);
  Me.UserFocus(List1);
}

}  // namespace bench
