// anagparc: the program. Its whole command line is text for the status bar; only --version,
// where it is all of it, is an option.
#include "frame/ANAGPARC.h"

#include <QApplication>
#include <QIcon>
#include <QSessionManager>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/desktop/desktop.h"
#include "platform/system/environment.h"
#include "platform/system/process.h"
#include "platform/system/signals.h"
#include "platform/system/state.h"
#include "platform/text/text.h"
#include "version.h"

namespace {

std::string earlyMessages;  // of Qt, while it looks for the display

[[noreturn]] void EndWithoutDisplay() {
  std::string asked;
  for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"}) {
    if (const std::string value = sys::Variable(name); !value.empty()) {
      asked += (asked.empty() ? "" : ", ") + std::string(name) + "=" + value;
    }
  }
  if (asked.empty()) {
    asked = "DISPLAY e WAYLAND_DISPLAY mancano";
  }
  std::fprintf(stderr,
               "anagparc %s: impossibile aprire lo schermo (%s).\n"
               "Avviare il programma dal desktop, o correggere queste variabili. "
               "Per Wayland occorre il pacchetto qt6-wayland.\n",
               kVersion, asked.c_str());
  std::_Exit(EXIT_FAILURE);
}

// Takes what Qt says until there is a display: where there is none, Qt has a last word and
// aborts.
void HearQt(QtMsgType type, const QMessageLogContext& context, const QString& message) {
  if (type == QtFatalMsg) {
    EndWithoutDisplay();
  }
  earlyMessages += qFormatLogMessage(type, context, message).toStdString() + '\n';
}

// The end of the desktop's session closes the program, and the next session doesn't start
// it again: that is for the parent.
class Application : public QApplication {
 public:
  Application(int& count, char** words) : QApplication(count, words) {
    connect(this, &QGuiApplication::saveStateRequest, [](QSessionManager& session) {
      session.setRestartHint(QSessionManager::RestartNever);
    });
  }

  // Closes the window, if there is one.
  bool Leave() {
    if (window != nullptr) {
      window->Leave();
    }
    return window != nullptr;
  }

  desktop::Window* window = nullptr;

 protected:
  bool event(QEvent* event) override {
    return (event->type() == QEvent::Quit && Leave()) || QApplication::event(event);
  }
};

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words = sys::Arguments(argc, argv);
  if (words.size() == 1 && words[0] == "--version") {
    std::printf("anagparc %s\n", kVersion);
    return std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
  }
  std::string commandLine;
  for (std::size_t i = 0; i < words.size(); ++i) {
    commandLine += (i > 0 ? " " : "") + words[i];
  }
  sys::HoldEndSignals();
  int one = 1;  // nothing of it is for Qt
  qInstallMessageHandler(HearQt);
  Application application(one, argv);
  qInstallMessageHandler(nullptr);
  if (QApplication::screens().isEmpty()) {
    EndWithoutDisplay();
  }
  std::fputs(earlyMessages.c_str(), stderr);
  QApplication::setApplicationVersion(kVersion);
  ANAGPARC::PREPARAPROGRAMMA(text::FromUtf8(commandLine));
  desktop::Window window(ANAGPARC::Me);
  window.SetSize(sys::LeftNote(sys::Note::kWindow));
  window.size_chosen = [](std::u16string_view size) { sys::LeaveNote(sys::Note::kWindow, size); };
  toolkit::App().view = &window;
  toolkit::App().print = [&](const toolkit::Document& document) { return window.Print(document); };
  toolkit::App().manual = [&](std::u16string_view chapter) { return window.ShowManual(chapter); };
  application.window = &window;
  sys::OnEndSignal([&application] {
    QMetaObject::invokeMethod(
        &application, [&application] { application.Leave(); }, Qt::QueuedConnection);
  });
  if (ANAGPARC::Me.Load()) {
    window.Show();
    QTimer::singleShot(0, [&window] {
      ANAGPARC::Me.Activate();
      window.Sync();
    });
    // Looking an icon up in the desktop's themes takes a fifth of the start: the
    // window comes first.
    QTimer::singleShot(200, [] { QApplication::setWindowIcon(QIcon::fromTheme("anagparc")); });
    QApplication::exec();
  } else if (sys::PrevInstance()) {
    // It ended because another copy runs, of which nothing is asked: the desktop is, for the
    // window that the user is looking for.
    sys::ActivateWindow(ANAGPARC::Me.Caption());
  }
  sys::OnEndSignal(nullptr);
  application.window = nullptr;
  toolkit::App().view = nullptr;
  return toolkit::App().status;
}
