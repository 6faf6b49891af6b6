// The widgets under real mouse and key events, on Qt's offscreen platform.
#include "platform/desktop/desktop.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QFontMetricsF>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QScrollBar>
#include <QTest>
#include <chrono>
#include <cmath>

#include "platform/desktop/listview.h"
#include "platform/desktop/look.h"
#include "platform/text/text.h"

namespace {

using namespace toolkit;

// Counts what is painted on a widget.
class Paints : public QObject {
 public:
  explicit Paints(QWidget* widget) { widget->installEventFilter(this); }
  bool eventFilter(QObject*, QEvent* event) override {
    count += event->type() == QEvent::Paint;
    return false;
  }
  int count = 0;
};

class Desktop : public testing::Test {
 protected:
  Desktop() {
    App() = {};
    Screen = {};
    auto at = [](Design design, int left, int top, int width, int height) {
      design.Left = left, design.Top = top, design.Width = width, design.Height = height;
      return design;
    };
    const Design box{.TabIndex = 0, .MaxLength = 16, .Face = Font::Fixed};
    const Placed table[] = {
        {frame, nullptr, nullptr, at({}, 120, 120, 8000, 6000)},
        {codeLabel, &frame, nullptr, at({.Caption = u" Codice & fiscale "}, 150, 150, 1800, 210)},
        {code, &frame, &codeLabel, at(box, 150, 375, 1830, 315)},
        {fixed, &frame, nullptr,
         at({.Caption = u"MI\x85", .TabIndex = 1, .Locked = true}, 2100, 375, 1830, 315)},
        {off, &frame, nullptr, at({.TabIndex = 2, .Enabled = false}, 4200, 375, 900, 315)},
        {go, &frame, nullptr, at({.Caption = u"&Vai", .TabIndex = 3}, 150, 900, 1500, 450)},
        {open, &frame, &codeLabel, at({.Caption = u"...", .TabIndex = 4}, 1800, 900, 300, 315)},
        {first, &frame, nullptr, at({.Caption = u"primo", .TabIndex = 6}, 4200, 900, 1500, 285)},
        {second, &frame, nullptr,
         at({.Caption = u"secondo", .TabIndex = 7}, 4200, 1200, 1500, 285)},
        {list, &frame, &codeLabel, at({.TabIndex = 5, .Face = Font::Fixed}, 150, 1500, 6675, 3840)},
        {status, nullptr, nullptr, at({}, 0, 8400, 9000, 345)},
    };
    form.Build(table, u"Prova", kWhite);
    form.LoadEvent = [this] {
      form.SetWidth(9105);
      form.SetHeight(9120);
    };
    go.Click = [this] { ++clicks; };
    window = std::make_unique<desktop::Window>(form);
    App().view = window.get();
  }
  ~Desktop() override { App() = {}; }

  void Show() {
    form.Load();
    window->Show();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window->Widget()));
  }
  QWindow* Handle() { return window->Widget().windowHandle(); }
  QPoint At(const Control& control, QPoint inside) {
    return window->WidgetOf(control)->mapTo(&window->Widget(), inside);
  }
  void Click(const Control& control) {
    QTest::mouseClick(Handle(), Qt::LeftButton, {}, At(control, {5, 5}));
  }
  void Keys(std::initializer_list<Qt::Key> keys, Qt::KeyboardModifiers with = {}) {
    for (const Qt::Key key : keys) {
      QTest::keyClick(Handle(), key, with);
    }
  }
  QLineEdit& Line(const TextBox& box) { return static_cast<QLineEdit&>(*window->WidgetOf(box)); }
  desktop::ListView& View() { return static_cast<desktop::ListView&>(*window->WidgetOf(list)); }
  void Fill(int rows) {
    list.Clear();
    for (int i = 0; i < rows; ++i) {
      list.AddItem(text::Fit(u"riga " + text::Decimal(i), 63));
    }
    window->Sync();
  }

  Form form{u"ANAGPARC"};
  Frame frame{u"Frame1"};
  Label codeLabel{u"Label1"};
  TextBox code{u"Text1", 0}, fixed{u"Text1", 1}, off{u"Text1", 2};
  CommandButton go{u"Vai"}, open{u"Apri"};
  OptionButton first{u"Option1", 0}, second{u"Option1", 1};
  ListBox list{u"List1"};
  StatusBar status{u"StatusBar1"};
  std::unique_ptr<desktop::Window> window;
  int clicks = 0;
};

TEST_F(Desktop, ShowsTheModel) {
  Show();
  EXPECT_EQ(window->Widget().size(), QSize(600, 583));
  EXPECT_EQ(window->Widget().windowTitle(), "Prova");
  EXPECT_EQ(window->WidgetOf(code)->geometry(), QRect(10, 25, 122, 21));
  EXPECT_EQ(Line(fixed).text(), "MI ");  // no control character shows
  EXPECT_TRUE(Line(fixed).isReadOnly());
  EXPECT_FALSE(Line(off).isEnabled());
  EXPECT_TRUE(Line(code).hasFocus());

  code.SetText(u"ABC");
  code.SetBackColor(kYellow);
  code.SetToolTipText(u"<b>Casella</b>");
  go.SetVisible(false);
  form.SetCaption(u"Altra");
  Screen.MousePointer = 11;
  window->Sync();
  EXPECT_EQ(Line(code).text(), "ABC");
  EXPECT_EQ(Line(code).palette().color(QPalette::Base), QColor(255, 255, 0));
  EXPECT_TRUE(Line(code).toolTip().contains("&lt;b&gt;"));
  EXPECT_FALSE(window->WidgetOf(go)->isVisible());
  EXPECT_EQ(window->Widget().windowTitle(), "Altra");
  ASSERT_NE(QGuiApplication::overrideCursor(), nullptr);
  Screen.MousePointer = 0;
  window->Sync();
  EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);

  // A row of the longest list fits beside its scroll bar, a field's text into its box.
  const QFontMetricsF fixedPitch(desktop::FaceFont(Font::Fixed));
  EXPECT_NEAR(fixedPitch.horizontalAdvance(QString(63, 'M')), 63 * 6.6, 1.5);
}

TEST_F(Desktop, TypingGoesThroughTheModel) {
  code.KeyPress = [](std::int16_t& key) {
    key = static_cast<std::int16_t>(text::Upper(static_cast<char16_t>(key)));
  };
  Show();
  QTest::keyClicks(&Line(code), "rss mra");
  EXPECT_EQ(code.Text(), u"RSS MRA");
  EXPECT_EQ(Line(code).text(), "RSS MRA");

  // The caret goes between the characters where the mouse is.
  const int x = Line(code).width() / 2;
  QTest::mouseClick(Handle(), Qt::LeftButton, {}, At(code, {15, 10}));
  EXPECT_EQ(code.SelStart(), Line(code).cursorPositionAt({15, 10}));
  EXPECT_EQ(code.SelStart(), Line(code).cursorPosition());
  QTest::mousePress(Handle(), Qt::LeftButton, {}, At(code, {5, 10}));
  QTest::mouseMove(Handle(), At(code, {15, 10}));
  QTest::mouseMove(Handle(), At(code, {x, 10}));
  QTest::mouseRelease(Handle(), Qt::LeftButton, {}, At(code, {x, 10}));
  EXPECT_EQ(code.SelStart(), 0);
  EXPECT_GT(code.SelLength(), 5);
  EXPECT_EQ(Line(code).selectionLength(), code.SelLength());
  Keys({Qt::Key_A, Qt::Key_X}, Qt::ControlModifier);
  EXPECT_EQ(code.Text(), u"");
  Keys({Qt::Key_Insert}, Qt::ShiftModifier);
  EXPECT_EQ(Line(code).text(), "RSS MRA");
  Keys({Qt::Key_Backspace}, Qt::AltModifier);
  EXPECT_EQ(Line(code).text(), "");

  // Characters of two units and of an input method; what is being composed isn't taken.
  QKeyEvent smile(QEvent::KeyPress, 0, {}, QString::fromUtf8("a\U0001F600"));
  QApplication::sendEvent(&Line(code), &smile);
  QInputMethodEvent compose("zz", {});
  compose.setCommitString(QString::fromUtf8("è"));
  QApplication::sendEvent(&Line(code), &compose);
  EXPECT_EQ(code.Text(), u"A\U0001F600È");
  EXPECT_EQ(Line(code).cursorPosition(), 4);
  Keys({Qt::Key_Left, Qt::Key_Left});
  EXPECT_EQ(Line(code).cursorPosition(), 1);

  // From behind the model's back: back in line.
  Line(code).setText("AT");
  EXPECT_EQ(Line(code).text(), QString::fromUtf8("A\U0001F600È"));
}

TEST_F(Desktop, ClicksAndFocusAreTheModels) {
  code.LostFocus = [this] {
    if (code.Text().empty()) {
      code.SetFocus();
    }
  };
  Show();
  Click(go);
  Click(fixed);
  Keys({Qt::Key_Tab});
  window->WidgetOf(list)->setFocus();
  EXPECT_EQ(clicks, 0);
  EXPECT_TRUE(Line(code).hasFocus());
  QTest::keyClicks(&Line(code), "X");
  Click(off);
  EXPECT_TRUE(Line(code).hasFocus());
  Click(go);
  EXPECT_EQ(clicks, 1);
  EXPECT_TRUE(window->WidgetOf(go)->hasFocus());

  QTest::mousePress(Handle(), Qt::LeftButton, {}, At(go, {5, 5}));
  EXPECT_TRUE(static_cast<QAbstractButton*>(window->WidgetOf(go))->isDown());
  QTest::mouseRelease(Handle(), Qt::LeftButton, {}, At(go, {5, 90}));
  EXPECT_EQ(clicks, 1);
  EXPECT_FALSE(static_cast<QAbstractButton*>(window->WidgetOf(go))->isDown());
  QTest::mouseDClick(Handle(), Qt::LeftButton, {}, At(go, {5, 5}));
  EXPECT_EQ(clicks, 3);
  Keys({Qt::Key_V}, Qt::AltModifier);
  Keys({Qt::Key_Space, Qt::Key_Return});
  EXPECT_EQ(clicks, 6);

  Click(second);
  EXPECT_TRUE(second.Value());
  Keys({Qt::Key_Up});
  EXPECT_TRUE(static_cast<QAbstractButton*>(window->WidgetOf(first))->isChecked());
  EXPECT_FALSE(static_cast<QAbstractButton*>(window->WidgetOf(second))->isChecked());
  go.SetEnabled(false);
  window->Sync();
  int bare = 0;
  frame.Click = [&] { ++bare; };
  Click(go);  // what is disabled passes nothing on to what lies behind
  EXPECT_EQ(clicks, 6);
  EXPECT_EQ(bare, 0);
  QTest::mouseClick(Handle(), Qt::LeftButton, {}, At(frame, {500, 300}));
  EXPECT_EQ(bare, 1);
}

TEST_F(Desktop, ContextMenu) {
  Show();
  QGuiApplication::clipboard()->setText("ab\ncd");
  auto choose = [&](const TextBox& box, const QString& name) {
    QContextMenuEvent ask(QContextMenuEvent::Mouse, {5, 5}, Line(box).mapToGlobal(QPoint(5, 5)));
    QApplication::sendEvent(&Line(box), &ask);
    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    bool enabled = false;
    for (QAction* action : menu != nullptr ? menu->actions() : QList<QAction*>()) {
      if (action->text().remove('&') == name) {
        enabled = action->isEnabled();
        action->trigger();
      }
    }
    if (menu != nullptr) {
      menu->close();
    }
    return enabled;
  };
  EXPECT_FALSE(choose(code, "Copia"));
  EXPECT_TRUE(choose(code, "Incolla"));
  EXPECT_EQ(Line(code).text(), "ab");
  EXPECT_TRUE(choose(code, "Seleziona tutto"));
  EXPECT_EQ(Line(code).selectedText(), "ab");
  EXPECT_TRUE(choose(code, "Taglia"));
  EXPECT_TRUE(choose(code, "Annulla"));
  EXPECT_EQ(Line(code).text(), "ab");
  EXPECT_FALSE(choose(fixed, "Incolla"));
  EXPECT_EQ(form.Focus(), &fixed);  // the right button gives the focus too
  EXPECT_FALSE(choose(off, "Incolla"));
}

TEST_F(Desktop, LongList) {
  using Clock = std::chrono::steady_clock;
  Show();
  Fill(100'000);
  EXPECT_EQ(View().RowsInView(), 18);
  EXPECT_FALSE(View().horizontalScrollBar()->isVisible());
  const auto start = Clock::now();
  for (int i = 0; i < 50; ++i) {
    View().ScrollTo(i * 1999);
    View().viewport()->repaint();
  }
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));  // of rows in view only

  int doubles = 0;
  list.DblClick = [&] { ++doubles; };
  QTest::mouseClick(Handle(), Qt::LeftButton, {}, *window->ShowRow(list, 70'000));
  EXPECT_EQ(list.ListIndex(), 70'000);
  EXPECT_TRUE(View().hasFocus());
  QTest::mouseDClick(Handle(), Qt::LeftButton, {}, *window->ShowRow(list, 70'001));
  EXPECT_EQ(list.ListIndex(), 70'001);
  EXPECT_EQ(doubles, 1);
  View().verticalScrollBar()->setValue(0);  // looks elsewhere, selects nothing
  EXPECT_EQ(list.ListIndex(), 70'001);
  Keys({Qt::Key_Down});
  EXPECT_EQ(list.ListIndex(), 70'002);
  EXPECT_GE(View().RowRect(70'002).top(), 0);
  EXPECT_LE(View().RowRect(70'002).bottom(), View().viewport()->height());
  EXPECT_FALSE(window->ShowRow(list, -1));
  EXPECT_FALSE(window->ShowRow(list, 100'000));

  Fill(100'000);
  EXPECT_EQ(View().TopRow(), 0);
  list.AddItem(std::u16string(100, u'W'));
  window->Sync();
  EXPECT_TRUE(View().horizontalScrollBar()->isVisible());
  Fill(3);
  EXPECT_FALSE(View().horizontalScrollBar()->isVisible());
  QTest::mouseClick(Handle(), Qt::LeftButton, {}, *window->ShowRow(list, 2));
  QTest::mouseClick(Handle(), Qt::LeftButton, {}, *window->ShowRow(list, -1));
  EXPECT_EQ(list.ListIndex(), 2);
}

TEST_F(Desktop, SpeaksToScreenReaders) {
  Show();
  Fill(50);
  auto told = [&](const Control& control, QAccessible::Text kind = QAccessible::Name) {
    return QAccessible::queryAccessibleInterface(window->WidgetOf(control))->text(kind);
  };
  EXPECT_EQ(told(code), "Codice & fiscale");
  EXPECT_EQ(told(list), "Codice & fiscale");
  EXPECT_EQ(told(go), "Vai");
  EXPECT_EQ(told(open), "Codice & fiscale");
  codeLabel.SetCaption(u"Province");
  window->Sync();
  EXPECT_EQ(told(list), "Province");

  QAccessibleInterface* rows = QAccessible::queryAccessibleInterface(&View());
  EXPECT_EQ(rows->role(), QAccessible::List);
  EXPECT_EQ(rows->childCount(), 50);
  QAccessibleInterface* third = rows->child(2);
  EXPECT_EQ(third->text(QAccessible::Name), "riga 2");
  EXPECT_EQ(rows->indexOfChild(third), 2);
  third->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
  EXPECT_EQ(list.ListIndex(), 2);
  EXPECT_TRUE(third->state().selected);
  EXPECT_EQ(told(list, QAccessible::Value), "riga 2");
  const QAccessible::Id known = QAccessible::uniqueId(third);
  Fill(1);
  EXPECT_FALSE(third->isValid());
  Fill(50);
  EXPECT_NE(QAccessible::uniqueId(rows->child(2)), known);

  // A control that goes away is followed by the model's next one, by none of Qt's own.
  window->WidgetOf(go)->setFocus();
  QStringList named;
  const auto listening = QObject::connect(
      qApp, &QApplication::focusChanged,
      [&](QWidget*, QWidget* now) { named += now != nullptr ? now->objectName() : ""; });
  go.Click = [this] {
    ++clicks;
    go.SetEnabled(false);
    window->Sync();  // as a message box does in the middle of a handler
    code.SetFocus();
  };
  Keys({Qt::Key_Space});
  QObject::disconnect(listening);
  EXPECT_EQ(named.join(' '), "Text1(0)");
  go.SetEnabled(true);
  clicks = 0;
  window->Sync();

  static_cast<QAbstractButton*>(window->WidgetOf(go))->click();  // a reader's press
  EXPECT_EQ(clicks, 1);
  window->WidgetOf(code)->setFocus();
  EXPECT_EQ(form.Focus(), &code);
}

// How much lighter one colour is than another, 1 to 21 (WCAG 2's contrast ratio).
double Contrast(QRgb a, QRgb b) {
  auto luminance = [](QRgb color) {
    auto linear = [](int channel) {
      const double c = channel / 255.0;
      return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(qRed(color)) + 0.7152 * linear(qGreen(color)) +
           0.0722 * linear(qBlue(color)) + 0.05;
  };
  const double ratio = luminance(a) / luminance(b);
  return std::max(ratio, 1 / ratio);
}

// Each kind of control, and a message box's buttons: a line all round, dotted at least,
// stands out from how they look without the focus.
TEST_F(Desktop, FocusIsSeen) {
  auto check = [](QWidget& with, QWidget& other) {
    with.setFocus();
    const QImage focused = with.grab().toImage();
    other.setFocus();
    const QImage bare = with.grab().toImage();
    int count = 0;
    for (int y = 0; y < bare.height(); ++y) {
      for (int x = 0; x < bare.width(); ++x) {
        count += Contrast(focused.pixel(x, y), bare.pixel(x, y)) >= 3;
      }
    }
    EXPECT_GE(count, (bare.width() + bare.height()) / 2) << with.objectName().toStdString();
  };
  Show();
  Fill(3);
  for (const Control* control : form.Controls()) {
    if (control->CanFocus()) {
      check(*window->WidgetOf(*control), *window->WidgetOf(control == &go ? open : go));
    }
  }
  window->whenAsked = [&](QMessageBox& box, const Message&) {
    EXPECT_TRUE(QTest::qWaitFor([&] { return box.isActiveWindow(); }));
    check(*box.buttons()[0], *box.buttons()[1]);
    box.buttons()[0]->click();
  };
  MsgBox(u"x", kYesNo + kQuestion, u"T");
}

TEST_F(Desktop, MessageBoxes) {
  std::vector<QString> seen;
  int toClick = kNo;
  window->whenAsked = [&](QMessageBox& box, const Message& message) {
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
    EXPECT_EQ(box.textFormat(), Qt::PlainText);
    EXPECT_EQ(static_cast<QAbstractButton*>(box.defaultButton()),
              desktop::Window::AnswerButton(box, message.buttons[0].code));
    seen.push_back(box.windowTitle() + '|' + box.text());
    QTest::keyClick(&box, Qt::Key_Escape);
    box.close();
    if (box.isVisible()) {
      QTest::mouseClick(desktop::Window::AnswerButton(box, toClick), Qt::LeftButton);
    }
  };
  EXPECT_EQ(MsgBox(u"prima", kInformation, u"T"), kOk);  // before the form shows
  Show();
  Screen.MousePointer = 11;
  EXPECT_EQ(MsgBox(u"a\r<b>&c", kYesNo + kQuestion, u"T"), kNo);
  toClick = kYes;
  EXPECT_EQ(MsgBox(u"x", kYesNo + kCritical, u"T"), kYes);
  EXPECT_NE(QGuiApplication::overrideCursor(), nullptr);
  EXPECT_EQ(MsgBox(u"x", kYesNoCancel + kQuestion, u"T"), kCancel);
  ASSERT_EQ(seen.size(), 4U);
  EXPECT_EQ(seen[1], "T|a\n<b>&c");
  Screen.MousePointer = 0;
  window->Sync();
}

TEST_F(Desktop, RepaintsNoMoreThanTheEyeSees) {
  codeLabel.Refresh();  // before the window shows: nothing
  Show();
  Paints paints(window->WidgetOf(codeLabel));
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 1'000'000; ++i) {
    codeLabel.SetCaption(text::Decimal(i));
    codeLabel.Refresh();
  }
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(paints.count, 1);
  EXPECT_LE(paints.count, 60 * took.count() + 2);
}

TEST_F(Desktop, ClosesOnlyWhenTheProgramEnds) {
  bool end = false;
  form.UnloadEvent = [&] {
    if (end) {
      End(3);
    }
  };
  Show();
  window->Widget().close();
  EXPECT_TRUE(window->Widget().isVisible());
  end = true;
  QMetaObject::invokeMethod(
      &window->Widget(), [&] { window->Widget().close(); }, Qt::QueuedConnection);
  EXPECT_EQ(QApplication::exec(), 3);
  EXPECT_FALSE(window->Widget().isVisible());
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
