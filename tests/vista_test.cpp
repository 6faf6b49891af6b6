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

// Contrast of the text in a part of a picture with the worst of its background.
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

// What appears on a widget with the focus stands out from its background, all
// round the widget or its text.
void ExpectFocusSeen(QWidget& widget, QWidget& other) {
  QImage images[2];
  for (QWidget* focused : {&other, &widget}) {
    focused->setFocus(Qt::OtherFocusReason);
    QApplication::processEvents();
    ASSERT_TRUE(focused->hasFocus());
    images[focused == &widget] = Picture(widget, 1);
  }
  const QColor back = widget.parentWidget()->palette().color(QPalette::Window);
  int changed = 0;
  for (int y = 0; y < widget.height(); ++y) {
    for (int x = 0; x < widget.width(); ++x) {
      const QRgb now = images[1].pixel(x, y);
      changed += now != images[0].pixel(x, y) && Contrast(now, back) >= kSign;
    }
  }
  EXPECT_GE(changed, widget.width()) << widget.objectName().toStdString();
}

template <class Widget>
bool Cut(const QWidget* widget) {
  const auto* shown = dynamic_cast<const Widget*>(widget);
  return shown != nullptr && !shown->Whole();
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

  bool Uncovered(const Control& control) {  // by a panel
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

TEST_F(Vista, NoTextIsCut) {
  QWidget& root = window->Widget();
  EXPECT_TRUE(root.screen()->availableGeometry().contains(root.frameGeometry()))
      << root.frameGeometry().width() << " x " << root.frameGeometry().height();
  EachScreen([&](const std::string& screen) {
    root.grab();  // what is cut shows when it is drawn
    for (const Control* control : Me.Controls()) {
      if (!control->Showing()) {
        continue;
      }
      SCOPED_TRACE(screen + ", " + text::ToUtf8(control->FullName()));
      QWidget* widget = window->WidgetOf(*control);
      EXPECT_TRUE(root.rect().contains(PlaceOf(*control)));
      EXPECT_FALSE(Cut<desktop::LabelBox>(widget) || Cut<desktop::Button>(widget) ||
                   Cut<desktop::Option>(widget));
      const QFontMetricsF metrics(widget->font(), widget);
      if (const auto* line = dynamic_cast<QLineEdit*>(widget)) {
        const double margins = 2 * (line->style()->pixelMetric(QStyle::PM_DefaultFrameWidth) + 2);
        EXPECT_LE(metrics.horizontalAdvance(line->text()) + margins, line->width());
      } else if (const auto* list = dynamic_cast<desktop::ListView*>(widget)) {
        EXPECT_GE(list->RowRect(0).height(), std::floor(metrics.height()) - 1);
      }
    }
  });
}

TEST_F(Vista, TextsCanBeRead) {
  int seen = 0;
  auto look = [&](const QImage& image, const Control& control) {
    const QRect place = PlaceOf(control);
    std::vector<QRect> parts;
    if (control.Type() == Kind::ListBox) {
      const auto& list = static_cast<const desktop::ListView&>(*window->WidgetOf(control));
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
      EXPECT_GE(Drawn(image, part), kText) << text::ToUtf8(control.FullName());
    }
  };
  EachScreen([&](const std::string& screen) {
    std::vector<Control*> disabled;
    for (const char* how : {"", ", disabled"}) {
      SCOPED_TRACE(screen + how);
      window->Sync();
      const QImage image = Picture(window->Widget());
      for (Control* control : Me.Controls()) {
        if (!control->Showing() || control->Type() == Kind::Frame) {
          continue;
        }
        if (Uncovered(*control)) {
          look(image, *control);
        }
        if (control->Enabled()) {
          control->SetEnabled(false);
          disabled.push_back(control);
        }
      }
    }
    for (Control* control : disabled) {
      control->SetEnabled(true);
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
    ExpectFocusSeen(*box.buttons().first(), *box.buttons().last());
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

TEST_F(Vista, FocusCanBeSeen) {
  auto check = [&](std::initializer_list<Control*> controls, const Control& other) {
    window->Sync();
    for (const Control* control : controls) {
      ExpectFocusSeen(*window->WidgetOf(*control), *window->WidgetOf(other));
    }
  };
  program.Select(u"RSSMRA80A01H501U");
  check({&List1, &Cmdcancella, &Option1(1)}, cmduscita(1));
  program.Open(u"RSSMRA80A01H501U");
  check({&Text1(1), &Text1(9), &CMDAPRILIST(0)}, cmdmemorizza);
}

TEST(Colours, Contrast) {
  EXPECT_NEAR(Contrast(Qt::black, Qt::white), 21, 0.01);
  EXPECT_NEAR(Contrast(QColor(0x77, 0x77, 0x77), Qt::white), 4.48, 0.01);
}

// The form's colours of today all pass; another pair would keep its hue alone.
TEST(Colours, AreMadeReadable) {
  for (const auto& [fore, back] : std::initializer_list<std::pair<QColor, QColor>>{
           {Qt::yellow, Qt::white}, {0x8080FF, 0xC7DCFE}, {0x404040, Qt::black}}) {
    const QColor readable = desktop::Readable(fore, back);
    EXPECT_GE(Contrast(readable, back), kText) << fore.name().toStdString();
    EXPECT_NEAR(readable.hslHueF(), fore.hslHueF(), 0.02) << fore.name().toStdString();
  }
  EXPECT_EQ(desktop::Readable(Qt::black, Qt::white), Qt::black);
  EXPECT_NEAR(Contrast(Qt::black, Qt::white), 21, 0.01);
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
