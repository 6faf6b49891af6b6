// The widgets under real mouse and key events, on Qt's offscreen platform.
#include "platform/desktop/desktop.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QScrollBar>
#include <QTest>
#include <chrono>
#include <cmath>

#include "platform/desktop/listview.h"
#include "platform/text/text.h"
#include "sample.h"

namespace {

using namespace toolkit;

// Counts what is painted on a widget.
struct Paints : QObject {
  explicit Paints(QWidget* widget) { widget->installEventFilter(this); }
  bool eventFilter(QObject*, QEvent* event) override {
    count += event->type() == QEvent::Paint;
    return false;
  }
  int count = 0;
};

class Desktop : public testing::Test, protected Sample {
 protected:
  Desktop() : Sample(16) {
    form.LoadEvent = [this] {
      form.SetWidth(9105);
      form.SetHeight(9120);
    };
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
  QAbstractButton& AsButton(const Control& control) {
    return static_cast<QAbstractButton&>(*window->WidgetOf(control));
  }
  desktop::ListView& View() { return static_cast<desktop::ListView&>(*window->WidgetOf(list)); }
  void Fill(int rows) {
    list.Clear();
    for (int i = 0; i < rows; ++i) {
      list.AddItem(text::Fit(u"riga " + text::Decimal(i), 63));
    }
    window->Sync();
  }

  std::unique_ptr<desktop::Window> window;
};

TEST_F(Desktop, ShowsTheModel) {
  Show();
  EXPECT_EQ(window->Widget().size(), QSize(600, 583));
  EXPECT_EQ(window->Widget().windowTitle(), "Prova");
  EXPECT_EQ(window->WidgetOf(one)->geometry(), QRect(10, 25, 122, 21));
  EXPECT_EQ(Line(two).text(), "MI ");  // no control character shows
  EXPECT_TRUE(Line(two).isReadOnly());
  EXPECT_FALSE(Line(off).isEnabled());
  EXPECT_TRUE(Line(one).hasFocus());

  one.SetText(u"ABC");
  one.SetBackColor(kYellow);
  one.SetToolTipText(u"<b>Casella</b>");
  go.SetVisible(false);
  form.SetCaption(u"Altra");
  Screen.MousePointer = 11;
  window->Sync();
  EXPECT_EQ(Line(one).text(), "ABC");
  EXPECT_EQ(Line(one).palette().color(QPalette::Base), QColor(255, 255, 0));
  EXPECT_TRUE(Line(one).toolTip().contains("&lt;b&gt;"));
  EXPECT_FALSE(window->WidgetOf(go)->isVisible());
  EXPECT_EQ(window->Widget().windowTitle(), "Altra");
  ASSERT_NE(QGuiApplication::overrideCursor(), nullptr);
  Screen.MousePointer = 0;
  window->Sync();
  EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
}

TEST_F(Desktop, TypingGoesThroughTheModel) {
  one.KeyPress = [](std::int16_t& key) {
    key = static_cast<std::int16_t>(text::Upper(static_cast<char16_t>(key)));
  };
  Show();
  QTest::keyClicks(&Line(one), "rss mra");
  EXPECT_EQ(one.Text(), u"RSS MRA");
  EXPECT_EQ(Line(one).text(), "RSS MRA");

  // The caret goes between the characters where the mouse is.
  const int x = Line(one).width() / 2;
  QTest::mouseClick(Handle(), Qt::LeftButton, {}, At(one, {15, 10}));
  EXPECT_EQ(one.SelStart(), Line(one).cursorPositionAt({15, 10}));
  EXPECT_EQ(one.SelStart(), Line(one).cursorPosition());
  QTest::mousePress(Handle(), Qt::LeftButton, {}, At(one, {5, 10}));
  QTest::mouseMove(Handle(), At(one, {15, 10}));
  QTest::mouseMove(Handle(), At(one, {x, 10}));
  QTest::mouseRelease(Handle(), Qt::LeftButton, {}, At(one, {x, 10}));
  EXPECT_EQ(one.SelStart(), 0);
  EXPECT_GT(one.SelLength(), 5);
  EXPECT_EQ(Line(one).selectionLength(), one.SelLength());
  Keys({Qt::Key_A, Qt::Key_X}, Qt::ControlModifier);
  EXPECT_EQ(one.Text(), u"");
  Keys({Qt::Key_Insert}, Qt::ShiftModifier);
  EXPECT_EQ(Line(one).text(), "RSS MRA");
  Keys({Qt::Key_Backspace}, Qt::AltModifier);
  EXPECT_EQ(Line(one).text(), "");

  // Characters of two units and of an input method; what is being composed isn't taken.
  QKeyEvent smile(QEvent::KeyPress, 0, {}, QString::fromUtf8("a\U0001F600"));
  QApplication::sendEvent(&Line(one), &smile);
  QInputMethodEvent compose("zz", {});
  compose.setCommitString(QString::fromUtf8("è"));
  QApplication::sendEvent(&Line(one), &compose);
  EXPECT_EQ(one.Text(), u"A\U0001F600È");
  EXPECT_EQ(Line(one).cursorPosition(), 4);
  Keys({Qt::Key_Left, Qt::Key_Left});
  EXPECT_EQ(Line(one).cursorPosition(), 1);

  // From behind the model's back: back in line.
  Line(one).setText("AT");
  EXPECT_EQ(Line(one).text(), QString::fromUtf8("A\U0001F600È"));
}

TEST_F(Desktop, ClicksAndFocusAreTheModels) {
  one.LostFocus = [this] {
    if (one.Text().empty()) {
      one.SetFocus();
    }
  };
  Show();
  Click(go);
  Click(two);
  Keys({Qt::Key_Tab});
  window->WidgetOf(list)->setFocus();
  EXPECT_EQ(clicks, 0);
  EXPECT_TRUE(Line(one).hasFocus());
  QTest::keyClicks(&Line(one), "X");
  Click(off);
  EXPECT_TRUE(Line(one).hasFocus());
  Click(go);
  EXPECT_EQ(clicks, 1);
  EXPECT_TRUE(window->WidgetOf(go)->hasFocus());

  QTest::mousePress(Handle(), Qt::LeftButton, {}, At(go, {5, 5}));
  EXPECT_TRUE(AsButton(go).isDown());
  QTest::mouseRelease(Handle(), Qt::LeftButton, {}, At(go, {5, 90}));
  EXPECT_EQ(clicks, 1);
  EXPECT_FALSE(AsButton(go).isDown());
  QTest::mouseDClick(Handle(), Qt::LeftButton, {}, At(go, {5, 5}));
  EXPECT_EQ(clicks, 3);
  Keys({Qt::Key_V}, Qt::AltModifier);
  Keys({Qt::Key_Space, Qt::Key_Return});
  EXPECT_EQ(clicks, 6);

  Click(second);
  EXPECT_TRUE(second.Value());
  Keys({Qt::Key_Up});
  EXPECT_TRUE(AsButton(first).isChecked());
  EXPECT_FALSE(AsButton(second).isChecked());
  go.SetEnabled(false);
  window->Sync();
  int bare = 0;
  panel.Click = [&] { ++bare; };
  Click(go);  // what is disabled passes nothing on to what lies behind
  EXPECT_EQ(clicks, 6);
  EXPECT_EQ(bare, 0);
  QTest::mouseClick(Handle(), Qt::LeftButton, {}, At(panel, {500, 300}));
  EXPECT_EQ(bare, 1);
}

TEST_F(Desktop, ContextMenu) {
  Show();
  QGuiApplication::clipboard()->setText("ab\ncd");
  const auto choose = [&](const TextBox& box, const QString& name) {
    QContextMenuEvent ask(QContextMenuEvent::Mouse, {5, 5}, Line(box).mapToGlobal(QPoint(5, 5)));
    QApplication::sendEvent(&Line(box), &ask);
    bool enabled = false;
    if (auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
      for (QAction* action : menu->actions()) {
        if (action->text().remove('&') == name) {
          enabled = action->isEnabled();
          action->trigger();
        }
      }
      menu->close();
    }
    return enabled;
  };
  EXPECT_FALSE(choose(one, "Copia"));
  EXPECT_TRUE(choose(one, "Incolla"));
  EXPECT_EQ(Line(one).text(), "ab");
  EXPECT_TRUE(choose(one, "Seleziona tutto"));
  EXPECT_EQ(Line(one).selectedText(), "ab");
  EXPECT_TRUE(choose(one, "Taglia"));
  EXPECT_TRUE(choose(one, "Annulla"));
  EXPECT_EQ(Line(one).text(), "ab");
  EXPECT_FALSE(choose(two, "Incolla"));
  EXPECT_EQ(form.Focus(), &two);  // the right button gives the focus too
  EXPECT_FALSE(choose(off, "Incolla"));
}

TEST_F(Desktop, LongList) {
  Show();
  Fill(100'000);
  EXPECT_EQ(View().RowsInView(), 18);
  EXPECT_FALSE(View().horizontalScrollBar()->isVisible());
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
  EXPECT_TRUE(View().viewport()->rect().contains(View().RowRect(70'002)));
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
  EXPECT_EQ(told(one), "Codice & fiscale");
  EXPECT_EQ(told(list), "Codice & fiscale");
  EXPECT_EQ(told(go), "Vai");
  EXPECT_EQ(told(open), "Codice & fiscale");
  label.SetCaption(u"Province");
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
    one.SetFocus();
  };
  Keys({Qt::Key_Space});
  QObject::disconnect(listening);
  EXPECT_EQ(named.join(' '), "Text1(0)");
  go.SetEnabled(true);
  clicks = 0;
  window->Sync();

  AsButton(go).click();  // a reader's press
  EXPECT_EQ(clicks, 1);
  window->WidgetOf(one)->setFocus();
  EXPECT_EQ(form.Focus(), &one);
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
  label.Refresh();  // before the window shows: nothing
  Show();
  Paints paints(window->WidgetOf(label));
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 1'000'000; ++i) {
    label.SetCaption(text::Decimal(i));
    label.Refresh();
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
