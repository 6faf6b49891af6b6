// What the user sees of the whole program, on the screen and at the scale that
// CTest sets: everything lies in the window, no text is cut. The desktop's own
// colours, style and fonts are hostile ones.
#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QScreen>
#include <QStyle>
#include <QTest>

#include "frame/ANAGPARC.h"
#include "platform/desktop/desktop.h"
#include "platform/desktop/listview.h"
#include "platform/desktop/look.h"
#include "platform/desktop/widgets.h"
#include "platform/text/text.h"
#include "program.h"

namespace {

using namespace ANAGPARC;
using toolkit::Control;

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
        const double margins = 2 * (line->style()->pixelMetric(QStyle::PM_DefaultFrameWidth) + 2) +
                               line->textMargins().left() + line->textMargins().right();
        EXPECT_LE(metrics.horizontalAdvance(line->text()) + margins, line->width());
      } else if (const auto* list = dynamic_cast<desktop::ListView*>(widget)) {
        EXPECT_GE(list->RowRect(0).height(), std::floor(metrics.height()) - 1);
      }
    }
  });
}

// What has the focus bears a ring in the highlight's colour.
TEST_F(Vista, TheFocusIsSeen) {
  const auto marked = [&](const Control& control) {
    window->Sync();
    const QImage seen = window->Widget().grab(PlaceOf(control)).toImage();
    int pixels = 0;
    for (int y = 0; y < seen.height(); ++y) {
      for (int x = 0; x < seen.width(); ++x) {
        pixels += seen.pixelColor(x, y) == desktop::Highlight() ? 1 : 0;
      }
    }
    return pixels;
  };
  const auto ring = [&](Control& control, Control& other) {
    Me.UserFocus(other);
    const int without = marked(control);
    Me.UserFocus(control);
    const QRect place = PlaceOf(control);
    EXPECT_GE(marked(control) - without, place.width() + place.height())
        << text::ToUtf8(control.FullName());
  };
  ring(List1, cmduscita(1));
  ring(Option1(0), List1);
  ring(cmduscita(1), List1);
  program.Open(u"RSSMRA80A01H501U");
  ring(Text1(1), Text1(2));
  ring(Text1(9), Text1(2));
}

// A message box holds its text on half the screen, its buttons under the text.
TEST_F(Vista, MessageBoxes) {
  const std::string path = "/" + std::string(60, 'a') + "/" + std::string(60, 'b') + "/" +
                           std::string(60, 'c') + "/S7702015.MDB";
  window->whenAsked = [&](QMessageBox& box, const toolkit::Message&) {
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&box));
    const QRect room = box.screen()->availableGeometry();
    EXPECT_LE(box.width(), std::max(room.width() / 2, 600));  // 60 letters in one
    EXPECT_LE(box.height(), room.height());
    const auto* text = box.findChild<QLabel*>("qt_msgbox_label");
    EXPECT_EQ(box.buttons().first()->mapTo(&box, QPoint()).x(), text->x());
    EXPECT_GE(text->height(), text->heightForWidth(text->width()));
    for (const QWidget* part : box.findChildren<QWidget*>()) {
      EXPECT_TRUE(!part->isVisible() ||
                  box.rect().contains(QRect(part->mapTo(&box, QPoint()), part->size())));
    }
    box.buttons().first()->click();
  };
  window->Ask({.text = u"Impossibile aprire " + text::FromUtf8(path),
               .title = Titolo(),
               .buttons = {{toolkit::kYes, u"&Sì"}, {toolkit::kNo, u"&No"}},
               .icon = toolkit::MessageIcon::Critical});
}

// The form's colours of today all pass; another pair would keep its hue alone.
TEST(Colours, AreMadeReadable) {
  for (const auto& [fore, back] : std::initializer_list<std::pair<QColor, QColor>>{
           {Qt::yellow, Qt::white}, {0x8080FF, 0xC7DCFE}, {0x404040, Qt::black}}) {
    const QColor readable = desktop::Readable(fore, back);
    EXPECT_GE(desktop::Contrast(readable, back), 4.5) << fore.name().toStdString();
    EXPECT_NEAR(readable.hslHueF(), fore.hslHueF(), 0.02) << fore.name().toStdString();
  }
  EXPECT_EQ(desktop::Readable(Qt::black, Qt::white), Qt::black);
  EXPECT_NEAR(desktop::Contrast(Qt::black, Qt::white), 21, 0.01);
  EXPECT_NEAR(desktop::Contrast(QColor(0x77, 0x77, 0x77), Qt::white), 4.48, 0.01);
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
