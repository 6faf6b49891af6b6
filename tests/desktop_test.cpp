// The widgets under real mouse and key events, on Qt's offscreen platform: what the
// scenarios, which see the model alone, can't tell.
#include "platform/desktop/desktop.h"

#include <gtest/gtest.h>
#ifndef _WIN32
#include <sys/stat.h>
#endif

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPrintDialog>
#include <QScreen>
#include <QScrollBar>
#include <QSpinBox>
#include <QTest>
#include <QTextBlock>
#include <QTextBrowser>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "files.h"
#include "platform/desktop/listview.h"
#include "platform/desktop/look.h"
#include "platform/text/text.h"
#include "sample.h"

namespace {

using namespace toolkit;

class Desktop : public testing::Test, protected Sample {
 protected:
  Desktop() : Sample(16) {
    form.LoadEvent = [this] {
      form.SetWidth(9105);
      form.SetHeight(9120);
    };
    window = std::make_unique<desktop::Window>(form);
    App().view = window.get();
    window->boxRest = {};
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

TEST_F(Desktop, TheFocusIsSeenInEveryField) {
  Show();
  for (TextBox* box : {&one, &two}) {  // the second one is locked
    box->SetText(u"AB");
    Click(*box);
    std::vector<QImage> pictures;
    for (const Qt::Key key : {Qt::Key_Home, Qt::Key_End}) {
      Keys({key});
      pictures.push_back(Line(*box).grab().toImage());
      for (const int x : {0, 1}) {
        EXPECT_EQ(pictures.back().pixelColor(x, 10), QColor(27, 92, 168));
      }
    }
    EXPECT_TRUE(!box->Locked() || pictures[0] != pictures[1]) << "the caret, which doesn't blink";
  }
}

TEST_F(Desktop, ARefusedKeyLightsTheFrame) {
  Show();
  Click(two);  // locked
  const auto frame = [&] { return Line(two).grab().toImage().pixelColor(0, 10); };
  Keys({Qt::Key_Home});
  EXPECT_EQ(frame(), desktop::Highlight());
  Keys({Qt::Key_A});
  EXPECT_EQ(frame(), desktop::Alarm());
  QTest::qWait(2 * desktop::kFlash);
  EXPECT_EQ(frame(), desktop::Highlight());
}

TEST_F(Desktop, TypingGoesThroughTheModel) {
  one.KeyPress = [](std::int16_t& key) {
    key = static_cast<std::int16_t>(text::Upper(static_cast<char16_t>(key)));
  };
  Show();
  QTest::keyClicks(&Line(one), "rss mra");
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
  Keys({Qt::Key_Left, Qt::Key_Left});
  EXPECT_EQ(Line(one).cursorPosition(), 1);
  Line(one).setText("AT");  // without the model's knowledge
  EXPECT_EQ(Line(one).text(), QString::fromUtf8("A\U0001F600È"));
}

TEST_F(Desktop, Clicks) {
  Show();
  QTest::mousePress(Handle(), Qt::LeftButton, {}, At(go, {5, 5}));
  EXPECT_TRUE(AsButton(go).isDown());
  QTest::mouseRelease(Handle(), Qt::LeftButton, {}, At(go, {5, 90}));
  EXPECT_EQ(clicks, 0);
  EXPECT_FALSE(AsButton(go).isDown());
  QTest::mouseDClick(Handle(), Qt::LeftButton, {}, At(go, {5, 5}));
  EXPECT_EQ(clicks, 2);
  Keys({Qt::Key_V}, Qt::AltModifier);
  EXPECT_EQ(clicks, 3);

  Click(second);
  Keys({Qt::Key_Up});
  EXPECT_TRUE(AsButton(first).isChecked());
  EXPECT_FALSE(AsButton(second).isChecked());
  go.SetEnabled(false);
  window->Sync();
  int bare = 0;
  panel.Click = [&] { ++bare; };
  Click(go);  // what is disabled passes nothing on to what lies below it
  EXPECT_EQ(clicks, 3);
  EXPECT_EQ(bare, 0);
}

// The click that brings the focus to a mask leaves the caret to GotFocus, even where the
// hand shakes; the next ones are those of any field, up to the third that selects all.
TEST_F(Desktop, ClicksIntoAMask) {
  date.GotFocus = [this] { date.SetSelStart(0); };
  Show();
  quint64 now = 1000;
  const auto mouse = [&](QEvent::Type type, int x, Qt::MouseButtons held) {
    QMouseEvent event(type, QPointF(x, 10), Line(date).mapToGlobal(QPointF(x, 10)),
                      type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, held, {});
    event.setTimestamp(now += 50);
    QApplication::sendEvent(&Line(date), &event);
  };
  const auto click = [&](QEvent::Type press) {
    mouse(press, 40, Qt::LeftButton);
    mouse(QEvent::MouseMove, 47, Qt::LeftButton);
    mouse(QEvent::MouseButtonRelease, 47, {});
    return std::pair(date.SelStart(), date.SelLength());
  };
  EXPECT_EQ(click(QEvent::MouseButtonPress), std::pair(0, 0));
  const int at = Line(date).cursorPositionAt({40, 10}), end = Line(date).cursorPositionAt({47, 10});
  EXPECT_EQ(click(QEvent::MouseButtonPress), std::pair(at, end - at));
  click(QEvent::MouseButtonDblClick);
  EXPECT_EQ(click(QEvent::MouseButtonPress), std::pair(0, 10));
  now += 1000;
  EXPECT_EQ(click(QEvent::MouseButtonPress), std::pair(at, end - at));
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
}

TEST_F(Desktop, SpeaksToScreenReaders) {
  Show();
  Fill(50);
  auto told = [&](const Control& control, QAccessible::Text kind = QAccessible::Name) {
    return QAccessible::queryAccessibleInterface(window->WidgetOf(control))->text(kind);
  };
  EXPECT_EQ(told(open), "Codice & fiscale");
  label.SetCaption(u"Province");
  window->Sync();
  EXPECT_EQ(told(list), "Province");

  QAccessibleInterface* rows = QAccessible::queryAccessibleInterface(&View());
  QAccessibleInterface* third = rows->child(2);
  third->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
  EXPECT_EQ(list.ListIndex(), 2);
  EXPECT_EQ(told(list, QAccessible::Value), "riga 2");
  const QAccessible::Id known = QAccessible::uniqueId(third);
  Fill(1);
  EXPECT_FALSE(third->isValid());
  Fill(50);
  EXPECT_NE(QAccessible::uniqueId(rows->child(2)), known);

  QStringList named;
  const auto listening = QObject::connect(
      qApp, &QApplication::focusChanged,
      [&](QWidget*, QWidget* now) { named += now != nullptr ? now->objectName() : ""; });
  for (const Control* control : std::initializer_list<Control*>{&one, &list, &go, &first}) {
    QAccessibleInterface* heard = QAccessible::queryAccessibleInterface(window->WidgetOf(*control));
    EXPECT_TRUE(heard->state().focusable) << text::ToUtf8(control->FullName());
  }
  // Qt gives a button no focus before it is let go, which is when the model does.
  for (const Control* button : std::initializer_list<Control*>{&go, &first}) {
    QTest::mousePress(Handle(), Qt::LeftButton, {}, At(*button, {5, 5}));
    QTest::mouseRelease(Handle(), Qt::LeftButton, {}, At(*button, {5, 200}));
    EXPECT_EQ(named.join(' '), "") << text::ToUtf8(button->FullName());
  }

  // A control that goes away is followed by the model's next one, by none of Qt's own.
  window->WidgetOf(go)->setFocus();
  named.clear();
  go.Click = [this] {
    go.SetEnabled(false);
    window->Sync();  // as a message box does in the middle of a handler
    one.SetFocus();
  };
  Keys({Qt::Key_Space});
  QObject::disconnect(listening);
  EXPECT_EQ(named.join(' '), "Text1(0)");
}

TEST_F(Desktop, MessageBoxes) {
  std::vector<QString> seen;
  window->whenAsked = [&](QMessageBox& box, const Message& message) {
    EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
    EXPECT_EQ(box.textFormat(), Qt::PlainText);
    EXPECT_EQ(static_cast<QAbstractButton*>(box.defaultButton()),
              desktop::Window::AnswerButton(box, message.preset));
    seen.push_back(box.windowTitle() + '|' + box.text() + '|' + QString::number(box.icon()));
    if (message.text == u"sì") {
      QTest::mouseClick(desktop::Window::AnswerButton(box, kYes), Qt::LeftButton);
    } else if (message.text == u"chiusa") {
      box.close();
    } else {
      QTest::keyClick(&box, message.text == u"Invio" ? Qt::Key_Return : Qt::Key_Escape);
    }
  };
  EXPECT_EQ(MsgBox(u"prima", kInformation, u"T"), kOk);  // before the form shows
  Show();
  Screen.MousePointer = 11;
  EXPECT_EQ(MsgBox(u"a\r<b>&c", kYesNo + kQuestion, u"T"), kNo);
  EXPECT_EQ(MsgBox(u"sì", kYesNo + kCritical, u"T"), kYes);
  EXPECT_NE(QGuiApplication::overrideCursor(), nullptr);
  EXPECT_EQ(MsgBox(u"chiusa", kYesNo, u"T"), kNo);
  EXPECT_EQ(MsgBox(u"Invio", kYesNo, u"T"), kYes);
  EXPECT_EQ(MsgBox(u"Invio", kYesNo + kQuestion + kDefaultSecond, u"T"), kNo);
  EXPECT_EQ(MsgBox(u"x", kYesNoCancel + kQuestion, u"T"), kCancel);
  ASSERT_EQ(seen.size(), 7U);
  EXPECT_EQ(seen[1], "T|a\n<b>&c|4");
  EXPECT_EQ(seen[2], "T|sì|3");
  Screen.MousePointer = 0;
  window->Sync();
}

// What the hands were at when a box came up answers nothing, and reaches no field later.
TEST_F(Desktop, BoxesAnswerNothingUnseen) {
  Show();
  const auto edge = [](QWidget& box) { return box.grab().toImage().pixelColor(2, 2); };
  // A repeat as Qt tells it, or as X11 sends it.
  bool told = true;
  const auto press = [&](QWidget& widget, Qt::Key key, const char* text, bool repeat) {
    told = !told;
    for (const auto type : {QEvent::KeyRelease, QEvent::KeyPress}) {
      QKeyEvent event(type, key, {}, 36, 0, 0, text, repeat && told);
      event.setTimestamp(type == QEvent::KeyRelease || (repeat && !told) ? 5000 : 5100);
      QApplication::sendEvent(&widget, &event);
    }
  };
  window->boxRest = std::chrono::hours(1);
  window->whenAsked = [&](QMessageBox& box, const Message&) {
    QAbstractButton* yes = desktop::Window::AnswerButton(box, kYes);
    const QColor calm = edge(box);
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Space, Qt::Key_Escape, Qt::Key_N}) {
      QTest::keyClick(box.focusWidget(), key);
    }
    EXPECT_NE(edge(box), calm) << "no sign";
    QTest::keyClick(box.focusWidget(), Qt::Key_N, Qt::AltModifier);
    QTest::mouseDClick(yes, Qt::LeftButton);
    box.close();
    QTest::qWait(200);
    EXPECT_EQ(edge(box), calm);
    ASSERT_TRUE(box.isVisible());
    yes->click();  // as assistive technology does
  };
  EXPECT_EQ(MsgBox(u"x", kYesNo, u"T"), kYes);

  window->boxRest = std::chrono::milliseconds(50);
  window->whenAsked = [&](QMessageBox& box, const Message&) {
    QTest::qWait(200);
    press(*box.focusWidget(), Qt::Key_Return, "\r", true);
    press(*box.focusWidget(), Qt::Key_N, "n", false);  // another letter of the same word
    QTest::qWait(300);
    ASSERT_TRUE(box.isVisible());
    press(*box.focusWidget(), Qt::Key_N, "n", false);
  };
  EXPECT_EQ(MsgBox(u"x", kYesNo, u"T"), kNo);
  for (const bool repeat : {true, false, true}) {
    press(Line(one), Qt::Key_N, "n", repeat);
  }
  EXPECT_EQ(one.Text(), u"nn") << "held, pressed anew, held again";
}

// Between two statements of a handler: the box just answered is off the screen, and what
// is shown and refreshed is on it, however soon after the last painting.
TEST_F(Desktop, AHandlerIsSeenWhileItRuns) {
  Show();
  const auto picture = [this] {
    const bool x11 = QGuiApplication::platformName() == "xcb";
    const QRect place(x11 ? window->Widget().mapToGlobal(QPoint()) : QPoint(),
                      window->Widget().size());
    return window->Widget()
        .screen()
        ->grabWindow(x11 ? 0 : window->Widget().winId(), place.x(), place.y(), place.width(),
                     place.height())
        .toImage();
  };
  window->whenAsked = [](QMessageBox& box, const Message&) {
    // No user answers before the desktop has brought the box up.
    ASSERT_TRUE(QTest::qWaitForWindowActive(&box));
    QTest::mouseClick(desktop::Window::AnswerButton(box, kYes), Qt::LeftButton);
  };
  if (QGuiApplication::platformName() == "xcb") {
    window->longestWait = std::chrono::seconds(3);  // the machine may be under load
  }
  std::vector<QImage> seen;
  go.Click = [&] {
    for (const auto* question : {u"Una domanda\r\rdi più righe", u"Un'altra"}) {
      MsgBox(question, kYesNo + kQuestion, u"Prova");
      seen.push_back(picture());
    }
    for (const bool on : {false, true}) {
      label.SetVisible(on);
      label.Refresh();
      seen.push_back(picture());
    }
  };
  Click(go);
  ASSERT_EQ(seen.size(), 4U);
  EXPECT_TRUE(seen[0] == seen[1]) << "a box is still there";
  EXPECT_TRUE(seen[2] != seen[1]) << "the label is still there";
  EXPECT_TRUE(seen[3] == seen[1]) << "the label isn't there yet";
}

// By the pointer, and by a window of its own as long as there is no form.
TEST_F(Desktop, LongWorkIsSeen) {
  using namespace std::chrono_literals;
  const auto waiting = [] {
    return std::ranges::any_of(QApplication::topLevelWidgets(), [](const QWidget* widget) {
      return widget->isVisible() && widget->windowType() == Qt::SplashScreen;
    });
  };
  form.LoadEvent = [&] {
    label.Refresh();
    EXPECT_FALSE(waiting());
    QTest::qSleep(250);
    label.Refresh();
    EXPECT_TRUE(waiting());
  };
  Show();
  EXPECT_FALSE(waiting());

  go.Click = [&] {
    for (const int since : {0, 350, 0}) {  // the user had the box meanwhile
      App().working = std::chrono::steady_clock::now() - since * 1ms;
      StillWorking();
      EXPECT_EQ(QGuiApplication::overrideCursor() != nullptr, since > 0);
    }
    label.Refresh();
  };
  Click(go);
  EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
}

// A table of names of a few lengths, and a block.
Document LongDocument(int rows) {
  Document document{.name = u"Percettori: prova/1", .title = u"Elenco di prova"};
  document.blocks = {{u"DATI", {{u"Comune", u"H501", true, u"ROMA"}}}};
  document.columns = {{u"N.", 7, false, true}, {u"Codice", 18, true}, {u"Nome"}};
  for (int i = 1; i <= rows; ++i) {
    document.cells.push_back(text::Decimal(i));
    document.cells.push_back(u"RSSMRA80A01H501U");
    document.cells.push_back(i == 7 ? std::u16string(150, u'W') + u" FINE" : u"NICOLÒ ŁÓDŹ");
  }
  document.closing = u"Percettori: " + text::Decimal(rows);
  return document;
}

std::string ReadPdf(const std::filesystem::path& file) {
  FILE* pipe = popen(("pdftotext -layout '" + sys::PathBytes(file) + "' -").c_str(), "r");
  std::string all;
  for (int c = fgetc(pipe); c != EOF; c = fgetc(pipe)) {
    all += static_cast<char>(c);
  }
  EXPECT_EQ(pclose(pipe), 0);
  return all;
}

// What the dialog is given: file, and the pages from one to another (0: all).
TEST_F(Desktop, PrintsThroughTheDialogToPdf) {
  if (std::system("pdftotext -v 2>/dev/null") != 0) {
    GTEST_SKIP() << "pdftotext is missing";
  }
  Show();
  const Folder folder;
  const std::filesystem::path file = folder.Path() / "elenco.pdf";
  const Document document = LongDocument(120);
  QString proposed;
  const auto print = [&](const std::filesystem::path& to, int from, int last, bool accept = true) {
    QTimer::singleShot(0, [&, from, last, accept] {
      auto* dialog = qobject_cast<QPrintDialog*>(QApplication::activeModalWidget());
      ASSERT_NE(dialog, nullptr);
      auto* name = dialog->findChild<QLineEdit*>("filename");
      proposed = name->text();
      name->setText(QString::fromStdString(sys::PathBytes(to)));
      if (from > 0) {
        dialog->findChild<QAbstractButton*>("printRange")->setChecked(true);
        dialog->findChild<QSpinBox*>("from")->setValue(from);
        dialog->findChild<QSpinBox*>("to")->setValue(last);
      }
      accept ? dialog->accept() : dialog->reject();
      Keys({Qt::Key_X});  // on its way when the dialog had the keys
    });
    return window->Print(document);
  };
  EXPECT_EQ(print(file, 0, 0, false), u"");
  EXPECT_FALSE(exists(file));
  EXPECT_TRUE(proposed.endsWith("/Percettori_ prova_1.pdf"));
  EXPECT_EQ(one.Text(), u"");
  EXPECT_TRUE(Line(one).hasFocus());

  EXPECT_EQ(print(file, 0, 0), u"");
  const std::string all = ReadPdf(file);
  EXPECT_EQ(std::ranges::count(all, '\f'), 3);
  for (const char* text : {"Pagina 1 di 3", "Pagina 3 di 3", "NICOLÒ ŁÓDŹ", "H501", "FINE",
                           " 120 RSSMRA80A01H501U", "Percettori: 120", "Elenco di prova"}) {
    EXPECT_NE(all.find(text), all.npos) << text;
  }
  EXPECT_EQ(print(file, 2, 2), u"");
  const std::string page = ReadPdf(file);
  EXPECT_EQ(std::ranges::count(page, '\f'), 1);
  EXPECT_NE(page.find("Codice"), page.npos) << "the heads again";
  EXPECT_NE(page.find("Pagina 2 di 3"), page.npos);

  // Nothing is written over by what fails.
  EXPECT_NE(print(file, 9, 9).find(u"in tutto sono 3"), std::u16string::npos);
  EXPECT_NE(print(folder.Path() / "no" / "x.pdf", 0, 0).find(u"Impossibile scrivere"),
            std::u16string::npos);
#ifndef _WIN32
  ASSERT_EQ(mkfifo((folder.Path() / "pipe").c_str(), 0600), 0);
  EXPECT_NE(print(folder.Path() / "pipe", 0, 0), u"");
  EXPECT_TRUE(is_fifo(folder.Path() / "pipe"));
#endif
  EXPECT_EQ(ReadPdf(file), page);
}

// Every chapter that the program asks for by F1 is a heading; links, pictures and the search lead
// on, Esc back to the form.
TEST_F(Desktop, Manual) {
  Show();
  ASSERT_EQ(window->ShowManual(u"la-data"), u"");
  QWidget* manual = nullptr;
  for (QWidget* each : QApplication::topLevelWidgets()) {
    if (each->findChild<QTextBrowser*>() != nullptr) {
      manual = each;
    }
  }
  ASSERT_TRUE(QTest::qWaitForWindowActive(manual));
  auto* pages = manual->findChild<QTextBrowser*>();
  for (const char16_t* chapter :
       {u"2-lelenco-dei-percettori", u"3-aprire-e-modificare-unanagrafica", u"la-data",
        u"4-scegliere-un-codice-da-una-tabella", u"5-inserire-un-percettore",
        u"6-cancellare-un-percettore", u"7-cambiare-un-codice-fiscale"}) {
    EXPECT_EQ(window->ShowManual(chapter), u"");
    const QTextBlock top = pages->cursorForPosition({30, 12}).block();
    EXPECT_GT(top.blockFormat().headingLevel(), 0) << text::ToUtf8(chapter);
    EXPECT_EQ(top.text().simplified()[0].toLower(), QChar(chapter[0]));
  }
  pages->setSource(pages->source().resolved(QUrl("#contare")));
  EXPECT_TRUE(pages->cursorForPosition({30, 12}).block().text().startsWith("Contare"));
  pages->setSource(pages->source().resolved(QUrl("figure/scala_100.png")));
  EXPECT_EQ(pages->document()->toPlainText(), QString(QChar::ObjectReplacementCharacter));
  pages->backward();
  manual->findChild<QLineEdit*>()->setText("Data errata");
  QTest::keyClick(manual, Qt::Key_F3);
  EXPECT_EQ(pages->textCursor().selectedText(), "Data errata");
  QTest::keyClick(manual, Qt::Key_Escape);
  EXPECT_FALSE(manual->isVisible());
  QTest::qWait(20);
  EXPECT_TRUE(window->Widget().isActiveWindow());
}

// The form grows and shrinks as a whole, never past the screen, and fills a window of another size
// in its middle.
TEST_F(Desktop, Zooms) {
  window->SetSize(u"60");
  Show();
  QWidget& root = window->Widget();
  EXPECT_EQ(root.size(), QSize(360, 350));
  const QSize room = root.screen()->availableGeometry().size();
  Keys({Qt::Key_0}, Qt::ControlModifier);
  EXPECT_LE(root.height(), room.height());
  const int height = root.height();
  Keys({Qt::Key_Minus}, Qt::ControlModifier | Qt::KeypadModifier);
  EXPECT_LT(root.height(), height);
  for (int i = 0; i < 40; ++i) {
    Keys({Qt::Key_Plus}, Qt::ControlModifier);
  }
  EXPECT_LE(root.height(), room.height());
  EXPECT_GT(root.height(), room.height() - 60);
  EXPECT_EQ(one.Text(), u"");

  root.resize(900, 350);
  QApplication::processEvents();
  EXPECT_EQ(window->Size(), u"60");
  EXPECT_EQ(window->WidgetOf(status)->geometry(), QRect(270, 336, 360, 14));
  Click(go);
  EXPECT_EQ(clicks, 1);
  EXPECT_EQ(window->PixelOf({150, 150}), QPoint(276, 6));

  root.showMaximized();
  const QWidget& bar = *window->WidgetOf(status);
  EXPECT_TRUE(QTest::qWaitFor([&] { return bar.width() > 400; }));
  EXPECT_TRUE(window->Size().ends_with(u" massima"));
  EXPECT_TRUE(bar.width() > root.width() - 5 || bar.geometry().bottom() > root.height() - 5);
  Keys({Qt::Key_0}, Qt::ControlModifier);
  EXPECT_FALSE(root.isMaximized());
  std::u16string chosen;
  window->size_chosen = [&](std::u16string_view size) { chosen = size; };
  form.UnloadEvent = [] { End(0); };
  root.close();
  EXPECT_EQ(chosen, u"100");
}

// By Shift+F10 at the row that is selected; it goes where the form ends.
TEST_F(Desktop, MenuOfARow) {
  list.RowCommands = {{u"&Apri", nullptr}, {u"&Vai", &go}};
  Show();
  Fill(40);
  QTest::mouseClick(Handle(), Qt::RightButton, {}, *window->ShowRow(list, 30));
  EXPECT_EQ(list.ListIndex(), 30);
  QApplication::activePopupWidget()->close();
  const auto menu = [&] {
    Keys({Qt::Key_F10}, Qt::ShiftModifier);
    return qobject_cast<QMenu*>(QApplication::activePopupWidget());
  };
  const QRect row = View().RowRect(30);
  EXPECT_EQ(menu()->pos(), View().viewport()->mapToGlobal(row.bottomLeft()));
  QTest::keyClick(menu(), Qt::Key_V);
  EXPECT_EQ(clicks, 1);
  EXPECT_EQ(form.Focus(), &go);
  Click(list);
  ASSERT_NE(menu(), nullptr);
  form.UnloadEvent = [] { End(0); };
  window->Leave();
  QTest::qWait(20);
  EXPECT_TRUE(App().ended);
  EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
}

TEST_F(Desktop, ClosesOnlyWhenTheProgramEnds) {
  Show();
  window->Widget().close();
  EXPECT_TRUE(window->Widget().isVisible());
  form.UnloadEvent = [] { End(3); };
  QMetaObject::invokeMethod(
      &window->Widget(), [&] { window->Widget().close(); }, Qt::QueuedConnection);
  EXPECT_EQ(QApplication::exec(), 3);
  EXPECT_FALSE(window->Widget().isVisible());
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
  }
  QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
