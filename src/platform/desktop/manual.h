// The manual, in a window of its own beside the form.
#pragma once

#include <QTextBrowser>
#include <QWidget>

class QLineEdit;

namespace desktop {

// The manual's file: beside an installed program, in the build's folder or in a copied one; ""
// where there is none. `expected` becomes the place where it should have been.
QString FindManual(QString& expected);

// Shows one Markdown file with its pictures and its links from chapter to chapter.
class ManualPages : public QTextBrowser {
 public:
  using QTextBrowser::QTextBrowser;
  QVariant loadResource(int type, const QUrl& name) override;
};

// The form stays usable meanwhile, and no other program is needed: a browser would take seconds,
// may not be there, and loses the chapter where the desktop opens files for it. It has a search of
// its own, and Esc closes it.
class Manual : public QWidget {
 public:
  // `form`: gets the keyboard back when the window closes. Must outlive it.
  explicit Manual(QWidget& form);

  // Shows the chapter of that name, its heading's as in the file's own links, on top; the
  // beginning where there is none of that name. The window comes to the front.
  void ShowChapter(const QString& file, const QString& chapter);

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  void closeEvent(QCloseEvent* event) override;

 private:
  void Place();
  void Find(bool backwards);

  QWidget& form_;
  QLineEdit* sought_;
  ManualPages* pages_;
};

}  // namespace desktop
