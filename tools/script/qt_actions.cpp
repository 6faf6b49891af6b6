#include "qt_actions.h"

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFileInfo>
#include <QKeyEvent>
#include <QMenu>
#include <QMessageBox>
#include <QPixmap>
#include <QScrollBar>
#include <QTemporaryFile>
#include <QTest>
#include <QTimer>
#include <QWidget>
#include <QWindow>

#include "frame/ANAGPARC.h"
#include "platform/desktop/desktop.h"
#include "platform/desktop/keys.h"
#include "platform/desktop/look.h"
#include "platform/text/text.h"

namespace script {

namespace {

using toolkit::Control;
using toolkit::KeyStroke;
using toolkit::ListBox;

// The key of a common character; unknown for others.
Qt::Key CharacterKey(std::u16string_view text) {
  const char16_t c = text.size() == 1 ? text::Upper(text[0]) : u'\0';
  if (c < 0x20 || c >= 0x7F) {
    return Qt::Key_unknown;
  }
  return static_cast<Qt::Key>(c);
}

// The model says first whether a user could do the thing; then the events are sent to the window,
// which finds the widget under the mouse or with the focus on its own.
class QtActions : public Actions {
 public:
  explicit QtActions(Answers& answers) : answers_(answers) {
    // The platform takes the name of its file apart at colons, and for Latin-1: it gets one without
    // a folder.
    const QString folder = QDir::currentPath();
    if (ChooseScreen()) {
      QDir::setCurrent(QFileInfo(screen_file_).path());
    }
    static char name[] = "anagparc-script";
    static char* argv[] = {name, nullptr};
    static int argc = 1;
    application_ = std::make_unique<QApplication>(argc, argv);
    QDir::setCurrent(folder);
    const toolkit::ScreenObject screen = toolkit::Screen;
    window_ = std::make_unique<desktop::Window>(ANAGPARC::Me);
    window_->boxRest = {};
    toolkit::Screen = screen;  // the same one as without a window
    window_->whenAsked = [this](QMessageBox& box, const toolkit::Message& message) {
      Answer(box, message);
    };
    toolkit::App().view = window_.get();
  }
  ~QtActions() override { toolkit::App().view = nullptr; }

  void Begin() override {
    window_->Show();
    [[maybe_unused]] const bool active = QTest::qWaitForWindowActive(&window_->Widget());
  }

  bool Click(Control& control) override {
    const bool had = ANAGPARC::Me.Focus() == &control;
    // What another frame covers is clicked where it lies, as assistive programs
    // do: a line of a script means the control that it names.
    if (const auto place = ANAGPARC::Me.PlaceToClick(control)) {
      Mouse(window_->PixelOf(*place));
    } else {
      QTest::mouseClick(window_->WidgetOf(control), Qt::LeftButton);
    }
    // A click on a box means the place after its text, which may lie out of sight.
    const auto* box = dynamic_cast<toolkit::TextBox*>(&control);
    if (box != nullptr && ANAGPARC::Me.Focus() == box && (had || !box->Masked())) {
      Send(Qt::Key_End);
    }
    return true;
  }

  bool ClickRow(ListBox& list, int row) override {
    const auto pixel = RowPixel(list, row);
    if (!pixel) {
      return false;
    }
    Mouse(*pixel);
    return true;
  }

  bool DblClickRow(ListBox& list, int row) override {
    const auto pixel = RowPixel(list, row);
    if (!pixel) {
      return false;
    }
    Mouse(*pixel);
    if (!toolkit::App().ended) {
      QTest::mouseDClick(Target(), Qt::LeftButton, {}, *pixel);
    }
    return true;
  }

  bool Scroll(ListBox& list, int row) override {
    auto* view = static_cast<QAbstractScrollArea*>(window_->WidgetOf(list));
    view->verticalScrollBar()->setValue(row);
    return true;
  }

  bool RightClick(Control& control, int row, std::u16string_view choice,
                  std::vector<std::u16string>& offered) override {
    std::optional<QPoint> pixel;
    if (auto* list = dynamic_cast<ListBox*>(&control)) {
      pixel = RowPixel(*list, row);
    } else {
      pixel = window_->PixelOf(*ANAGPARC::Me.PlaceToClick(control));
    }
    if (!pixel) {
      return false;
    }
    const auto* box = dynamic_cast<toolkit::TextBox*>(&control);
    const bool had = ANAGPARC::Me.Focus() == box;
    QTest::mouseClick(Target(), Qt::RightButton, {}, *pixel);
    if (box != nullptr && !had && ANAGPARC::Me.Focus() == box && !box->Masked()) {
      // After the text, as by Click; a second click leaves the caret there.
      QApplication::activePopupWidget()->close();
      Send(Qt::Key_End);
      QTest::mouseClick(Target(), Qt::RightButton, {}, *pixel);
    }
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    QAction* chosen = nullptr;
    if (menu == nullptr) {
      return false;
    }
    for (QAction* action : menu->actions()) {
      if (action->isEnabled() && !action->isSeparator()) {
        offered.push_back(action->text().remove('&').toStdU16String());
        if (offered.back() == choice) {
          chosen = action;
        }
      }
    }
    menu->close();
    if (chosen != nullptr) {
      chosen->trigger();
    }
    return chosen != nullptr || (choice.empty() && !offered.empty());
  }

  bool Focus(Control& control) override {
    // A closed message box leaves no window active: there is no desktop here
    // that would choose the next one.
    if (!window_->Widget().isActiveWindow()) {
      window_->Widget().activateWindow();
      [[maybe_unused]] const bool active = QTest::qWaitForWindowActive(&window_->Widget());
    }
    window_->WidgetOf(control)->setFocus(Qt::OtherFocusReason);
    return true;
  }

  bool Caret(int offset) override {
    Send(Qt::Key_Home);
    for (int i = 0; i < offset; ++i) {
      const auto* box = static_cast<toolkit::TextBox*>(ANAGPARC::Me.Focus());
      if (box->SelStart() >= offset || box->SelStart() >= static_cast<int>(box->Text().size())) {
        break;
      }
      Send(Qt::Key_Right);
    }
    return true;
  }

  bool Key(const KeyStroke& stroke) override {
    const bool tab = stroke.key == toolkit::Key::Tab;
    if (!tab && ANAGPARC::Me.Focus() == nullptr) {
      return false;
    }
    Qt::KeyboardModifiers with;
    with.setFlag(Qt::ShiftModifier, stroke.shift);
    with.setFlag(Qt::ControlModifier, stroke.control);
    if (stroke.key == toolkit::Key::Character && stroke.control) {
      const bool edits = std::u16string_view(u"AVXZ").find(stroke.text) != stroke.text.npos;
      if ((stroke.text == u"C" && !CanCopy()) ||
          (edits && dynamic_cast<toolkit::TextBox*>(ANAGPARC::Me.Focus()) == nullptr)) {
        return false;
      }
      Send(CharacterKey(stroke.text), with);
    } else if (stroke.key == toolkit::Key::Character) {
      Send(CharacterKey(stroke.text), {},
           QString::fromUtf16(stroke.text.data(), std::ssize(stroke.text)));
    } else if (tab && stroke.shift) {
      Send(Qt::Key_Backtab, Qt::ShiftModifier);
    } else {
      Send(desktop::QtKeyOf(stroke.key), with);
    }
    return true;
  }

  bool Paste(std::u16string_view clipboard) override {
    window_->SetClipboard(clipboard);
    Send(Qt::Key_V, Qt::ControlModifier);
    return true;
  }

  bool Access(char16_t letter) override {
    if (!HasAccess(letter)) {
      return false;
    }
    Send(CharacterKey({&letter, 1}), Qt::AltModifier, QString(QChar(letter)));
    return true;
  }

  bool Close() override {
    window_->Widget().close();
    return true;
  }

  bool Screenshot(const std::string& file) override {
    QApplication::processEvents();
    if (!window_->Widget().grab().save(QString::fromStdString(file), "PNG")) {
      throw Error{u"impossibile scrivere " + text::FromUtf8(file)};
    }
    return true;
  }

 private:
  // The offscreen platform, with the model's screen: its own is smaller than the
  // form. Who names a platform with its parameters in the environment has that one. True
  // where there is a file to be read.
  bool ChooseScreen() {
    if (qgetenv("QT_QPA_PLATFORM").contains(':') || !screen_file_.open()) {
      return false;
    }
    screen_file_.write(QByteArray(R"({"screens": [{"name": "schermo", "x": 0, "y": 0, "width": )") +
                       QByteArray::number(toolkit::Screen.Width / desktop::kTwipsPerPixel) +
                       R"(, "height": )" +
                       QByteArray::number(toolkit::Screen.Height / desktop::kTwipsPerPixel) +
                       R"(, "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}]})");
    screen_file_.close();
    qputenv("QT_QPA_PLATFORM",
            "offscreen:configfile=" + QFileInfo(screen_file_).fileName().toLatin1());
    return true;
  }

  QWindow* Target() { return window_->Widget().windowHandle(); }

  void Mouse(QPoint pixel) { QTest::mouseClick(Target(), Qt::LeftButton, {}, pixel); }

  void Send(Qt::Key key, Qt::KeyboardModifiers modifiers = {}, const QString& text = {}) {
    if (!toolkit::App().ended) {
      QTest::sendKeyEvent(QTest::Click, Target(), key, text, modifiers);
    }
  }

  std::optional<QPoint> RowPixel(ListBox& list, int row) {
    // The strip that a scrolled list leaves below its last row is no empty space.
    if (row >= list.ListCount() || (row < 0 && list.ListCount() >= list.VisibleRows())) {
      return std::nullopt;
    }
    return window_->ShowRow(list, row);
  }

  bool HasAccess(char16_t letter) const {
    for (const Control* control : ANAGPARC::Me.Controls()) {
      if (control->CanFocus() && control->AccessKey() == text::Upper(letter)) {
        return true;
      }
    }
    return false;
  }

  // Clicks the button once the box waits in its own loop.
  void Answer(QMessageBox& box, const toolkit::Message& message) {
    int code = 0;
    try {
      code = answers_.Next(message);
    } catch (const Error& error) {
      Fail(error);
    }
    QAbstractButton* button = desktop::Window::AnswerButton(box, code);
    QTimer::singleShot(0, &box, [&box, button] {
      [[maybe_unused]] const bool active = QTest::qWaitForWindowExposed(&box);
      QTest::mouseClick(button, Qt::LeftButton);
    });
  }

  Answers& answers_;
  QTemporaryFile screen_file_;
  std::unique_ptr<QApplication> application_;
  std::unique_ptr<desktop::Window> window_;
};

}  // namespace

std::unique_ptr<Actions> MakeQtActions(Answers& answers) {
  return std::make_unique<QtActions>(answers);
}

}  // namespace script
