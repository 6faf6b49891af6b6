// What the user sees of the whole program, on the screen and at the scale that
// CTest sets: everything lies in the window, no text is cut, all can be read.
// The desktop's own colours, style and fonts are hostile ones.
#include <gtest/gtest.h>

#include <QApplication>
#include <QContextMenuEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QScreen>
#include <QStyle>
#include <QTest>
#include <QToolTip>
#include <map>

#include "frame/ANAGPARC.h"
#include "platform/desktop/desktop.h"
#include "platform/desktop/listview.h"
#include "platform/desktop/look.h"
#include "platform/desktop/widgets.h"
#include "platform/text/text.h"
#include "program.h"

namespace {

using namespace ANAGPARC;
using desktop::Contrast;
using toolkit::Control;
using toolkit::Kind;

constexpr int kFine = 4;  // times as fine as the screen, so that strokes show their full colour
constexpr double kText = 4.5, kSign = 3;

QImage Picture(QWidget& widget, int times = kFine) {
  QImage image(widget.size() * times, QImage::Format_RGB32);
  image.setDevicePixelRatio(times);
  widget.render(&image);
  return image;
}

// Contrast of the text in a part of a picture with the worst of what lies behind it.
double Drawn(const QImage& image, const QRect& part) {
  std::map<QRgb, int> counts;
  const QRect place = QRect(part.topLeft() * kFine, part.size() * kFine) & image.rect();
  for (int y = place.top(); y <= place.bottom(); ++y) {
    for (int x = place.left(); x <= place.right(); ++x) {
      ++counts[image.pixel(x, y)];
    }
  }
  QRgb back = 0, fore = 0;
  for (const auto& [color, count] : counts) {
    back = count > counts[back] ? color : back;
  }
  double best = 0;
  for (const auto& [color, count] : counts) {
    if (count >= kFine * kFine && Contrast(color, back) > best) {
      best = Contrast(color, back);
      fore = color;
    }
  }
  for (const auto& [color, count] : counts) {
    if (count * 50 > place.width() * place.height() && Contrast(color, back) < 1.6) {
      best = std::min(best, Contrast(fore, color));
    }
  }
  return best;
}

class Vista : public testing::Test {
 protected:
  Vista() {
    QApplication::setStyle("windows");
    QApplication::setPalette(QPalette(QColor(60, 0, 0), QColor(20, 20, 20)));
    QApplication::setFont(QFont("DejaVu Serif", 30));
    EXPECT_TRUE(program.Start());
    program.Insert(u"RSSMRA80A01H501U", u"ROSSI");
    Me.UserClick(cmdmemorizza);
    Me.UserClick(cmdselprec);
    window = std::make_unique<desktop::Window>(Me);
    window->Show();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&window->Widget()));
  }

  // Leads through the screens; `look` is called on each of them.
  void EachScreen(const std::function<void(const std::string&)>& look) {
    auto see = [&](const std::string& name) {
      window->Sync();
      QApplication::processEvents();
      look(name);
    };
    Label2(8).SetVisible(true);
    Label2(8).SetCaption(u"Attendere prego....Caricamento anagrafiche: 1.000.000");
    see("list");
    Label2(8).SetVisible(false);
    program.Select(u"RSSMRA80A01H501U");
    see("row");
    program.BeginChange(u"RSSMRA80A01H501U", u"RSSMRA80A01H501W");
    Label2(7).SetCaption(u" Percettore:ZANETTI DEGLI ALBIZZI DI MONTE LORENZO ALESSANDRO M");
    Label2(15).SetVisible(true);
    see("change");
    Me.UserClick(CmdAnnullaCF);
    program.Open(u"");
    for (toolkit::TextBox* box : {&TEXTCF, &TextCOGNO, &TextNOME}) {
      box->SetText(std::u16string(static_cast<std::size_t>(box->MaxLength()), u'W'));
    }
    see("insert");
    Me.UserClick(CmdInserimento(1));
    program.Open(u"RSSMRA80A01H501U");
    LabCOGNODEN.SetCaption(u" " + std::u16string(30, u'W') + u" " + std::u16string(20, u'W'));
    for (int i = 0; i < Text1.Bound(); ++i) {
      if (Text1.Has(i)) {
        Text1(i).SetText(std::u16string(static_cast<std::size_t>(Text1(i).MaxLength()), u'W'));
      }
    }
    ASPETTOERRORE(Text1(6));
    see("record");
    for (int i = 0; i < CMDAPRILIST.Bound(); ++i) {
      Me.UserClick(CMDAPRILIST(i));
      Me.UserKey({.key = toolkit::Key::Down});
      see("lookup " + std::to_string(i));
      Me.UserKey({.key = toolkit::Key::Escape});
    }
  }

  QRect PlaceOf(const Control& control) {
    QWidget* widget = window->WidgetOf(control);
    return QRect(widget->mapTo(&window->Widget(), QPoint()), widget->size());
  }

  // No panel lies over the control.
  bool Uncovered(const Control& control) {
    for (const Control* panel : {&Framecodif, &FrmInserimento, &FrameCambiaCf}) {
      if (panel->Showing() && control.Container() != panel &&
          PlaceOf(*panel).intersects(PlaceOf(control))) {
        return false;
      }
    }
    return true;
  }

  Program program;
  std::unique_ptr<desktop::Window> window;
};

TEST_F(Vista, AllInTheWindowAndNoTextCut) {
  QWidget& root = window->Widget();
  EXPECT_TRUE(root.screen()->availableGeometry().contains(root.frameGeometry()))
      << root.frameGeometry().width() << " x " << root.frameGeometry().height();
  EachScreen([&](const std::string& screen) {
    root.grab();  // what is cut shows when it is drawn
    for (const Control* control : Me.Controls()) {
      if (!control->Showing()) {
        continue;
      }
      const std::string what = screen + ", " + text::ToUtf8(control->FullName());
      QWidget* widget = window->WidgetOf(*control);
      EXPECT_TRUE(root.rect().contains(PlaceOf(*control))) << what;
      if (const auto* label = dynamic_cast<desktop::LabelBox*>(widget)) {
        EXPECT_TRUE(label->Whole()) << what;
      } else if (const auto* button = dynamic_cast<desktop::Button*>(widget)) {
        EXPECT_TRUE(button->Whole()) << what;
      } else if (const auto* option = dynamic_cast<desktop::Option*>(widget)) {
        EXPECT_TRUE(option->Whole()) << what;
      } else if (const auto* line = dynamic_cast<QLineEdit*>(widget)) {
        const double margins = 2 * (line->style()->pixelMetric(QStyle::PM_DefaultFrameWidth) + 2);
        EXPECT_LE(QFontMetricsF(line->font(), line).horizontalAdvance(line->text()) + margins,
                  line->width())
            << what;
      } else if (const auto* list = dynamic_cast<desktop::ListView*>(widget)) {
        EXPECT_GE(list->RowRect(0).height(),
                  std::floor(QFontMetricsF(list->font(), list).height()) - 1)
            << what;
      }
    }
  });
}

TEST_F(Vista, TextsCanBeRead) {
  int seen = 0;
  auto look = [&](const std::string& screen, const QImage& image, const Control& control) {
    QRect place = PlaceOf(control);
    const QWidget* widget = window->WidgetOf(control);
    std::vector<QRect> parts;
    if (control.Type() == Kind::ListBox) {
      const auto& list = static_cast<const desktop::ListView&>(*widget);
      for (int row = list.TopRow(); row < list.TopRow() + list.RowsInView(); ++row) {
        const QPoint from = list.viewport()->mapTo(&window->Widget(), list.RowRect(row).topLeft());
        parts.push_back(QRect(from, QSize(60, list.RowRect(row).height())).adjusted(0, 2, 0, -2));
      }
    } else if (control.Type() == Kind::OptionButton) {
      parts.push_back(place.adjusted(20, 0, 0, 0));
    } else if (control.Type() == Kind::TextBox || !control.Caption().empty() ||
               control.Type() == Kind::StatusBar) {
      parts.push_back(place.adjusted(4, 4, -4, -4));
    }
    for (const QRect& part : parts) {
      ++seen;
      EXPECT_GE(Drawn(image, part), kText) << screen << ", " << text::ToUtf8(control.FullName());
    }
  };
  EachScreen([&](const std::string& screen) {
    for (const bool enabled : {true, false}) {
      std::vector<Control*> touched;
      for (Control* control : Me.Controls()) {
        if (control->Showing() && control->Type() != Kind::Frame && !enabled &&
            control->Enabled()) {
          control->SetEnabled(false);
          touched.push_back(control);
        }
      }
      window->Sync();
      const QImage image = Picture(window->Widget());
      for (const Control* control : Me.Controls()) {
        if (control->Showing() && control->Type() != Kind::Frame && Uncovered(*control)) {
          look(screen + (enabled ? "" : ", disabled"), image, *control);
        }
      }
      for (Control* control : touched) {
        control->SetEnabled(true);
      }
    }
  });
  EXPECT_GT(seen, 200);
}

TEST_F(Vista, BoxesMenusAndTipsCanBeRead) {
  const std::string path = "/" + std::string(60, 'a') + "/" + std::string(60, 'b') + "/" +
                           std::string(60, 'c') + "/S7702015.MDB";
  window->whenAsked = [&](QMessageBox& box, const toolkit::Message&) {
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&box));
    const QImage image = Picture(box);
    for (const QWidget* part : box.findChildren<QWidget*>()) {
      const bool text = part->objectName() == "qt_msgbox_label";
      if (text || qobject_cast<const QAbstractButton*>(part) != nullptr) {
        const QRect place(part->mapTo(&box, QPoint()), part->size());
        EXPECT_TRUE(box.rect().contains(place));
        EXPECT_GE(Drawn(image, place.adjusted(5, 5, -5, -5)), kText);
      }
    }
    QFont title = box.font();
    title.setBold(true);
    const QRect room = box.screen()->availableGeometry();
    EXPECT_GE(box.width(), std::min(room.width() - 60,
                                    QFontMetrics(title).horizontalAdvance(box.windowTitle())));
    EXPECT_LE(box.width(), room.width());
    EXPECT_LE(box.height(), room.height());
    box.buttons().first()->click();
  };
  window->Ask({.text = u"Impossibile aprire " + text::FromUtf8(path),
               .title = Titolo(),
               .buttons = {{toolkit::kYes, u"&Sì"}, {toolkit::kNo, u"&No"}},
               .icon = toolkit::MessageIcon::Critical});
  EXPECT_TRUE(QTest::qWaitForWindowActive(&window->Widget()));  // the focus shows again

  program.Open(u"RSSMRA80A01H501U");
  window->Sync();
  QWidget* field = window->WidgetOf(Text1(1));
  Me.UserFocus(Text1(1));
  window->Sync();
  QContextMenuEvent ask(QContextMenuEvent::Mouse, {5, 5}, field->mapToGlobal(QPoint(5, 5)));
  QApplication::sendEvent(field, &ask);
  auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
  ASSERT_NE(menu, nullptr);
  menu->setActiveAction(menu->actions().last());
  const QImage image = Picture(*menu);
  for (QAction* action : menu->actions()) {
    if (!action->isSeparator()) {
      EXPECT_GE(Drawn(image, menu->actionGeometry(action).adjusted(8, 3, -3, -3)), kText)
          << action->text().toStdString();
    }
  }
  menu->close();

  QToolTip::showText(field->mapToGlobal(QPoint(5, 5)), field->toolTip(), field);
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (widget->inherits("QTipLabel") && widget->isVisible()) {
      EXPECT_GE(Drawn(Picture(*widget), widget->rect().adjusted(2, 2, -2, -2)), kText);
      QToolTip::hideText();
      return;
    }
  }
  FAIL() << "no tooltip";
}

// What appears with the focus stands out from the form, all round the control or
// its text.
TEST_F(Vista, FocusCanBeSeen) {
  auto look = [&](Control& control, Control& other) {
    Me.UserFocus(other);
    window->Sync();
    QApplication::processEvents();
    const QRect place = PlaceOf(control);
    const QImage before = Picture(window->Widget(), 1).copy(place);
    Me.UserFocus(control);
    window->Sync();
    QApplication::processEvents();
    ASSERT_TRUE(window->WidgetOf(control)->hasFocus());
    const QImage after = Picture(window->Widget(), 1).copy(place);
    int changed = 0;
    for (int y = 0; y < after.height(); ++y) {
      for (int x = 0; x < after.width(); ++x) {
        changed += after.pixel(x, y) != before.pixel(x, y) &&
                   Contrast(after.pixel(x, y), desktop::ToQt(Me.BackColor())) >= kSign;
      }
    }
    EXPECT_GE(changed, place.width()) << text::ToUtf8(control.FullName());
  };
  program.Select(u"RSSMRA80A01H501U");
  for (Control* control : std::initializer_list<Control*>{&List1, &Cmdcancella, &Option1(1)}) {
    look(*control, cmduscita(1));
  }
  program.Open(u"RSSMRA80A01H501U");
  for (Control* control : std::initializer_list<Control*>{&Text1(1), &Text1(9), &CMDAPRILIST(0)}) {
    look(*control, cmdmemorizza);
  }
}

// A colour given by the form is kept where it can be read; otherwise its hue.
TEST(Colours, AreMadeReadable) {
  constexpr struct {
    QRgb fore, back;
    bool kept;
  } kCases[] = {
      {0xFF000000, 0xFFC7DCFE, true},  {0xFF000080, 0xFFC7DCFE, true},
      {0xFFFFFF00, 0xFFFFFFFF, false}, {0xFF8080FF, 0xFFC7DCFE, false},
      {0xFF404040, 0xFF000000, false}, {0xFF777777, 0xFF777777, false},
      {0xFFFF0000, 0xFFFFFF00, false},
  };
  for (const auto& [fore, back, kept] : kCases) {
    const QColor readable = desktop::Readable(QColor(fore), QColor(back));
    EXPECT_GE(Contrast(readable, QColor(back)), kText) << std::hex << fore << " on " << back;
    EXPECT_EQ(readable == QColor(fore), kept) << std::hex << fore << " on " << back;
    EXPECT_NEAR(readable.hslHueF(), QColor(fore).hslHueF(), 0.02);
    EXPECT_GE(Contrast(desktop::Faint(readable, QColor(back)), QColor(back)), kText);
  }
  EXPECT_NEAR(Contrast(Qt::black, Qt::white), 21, 0.01);
  EXPECT_NEAR(Contrast(QColor(0x77, 0x77, 0x77), Qt::white), 4.48, 0.01);
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
