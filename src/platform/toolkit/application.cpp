#include "platform/toolkit/application.h"

#include <ctime>

namespace toolkit {

ScreenObject Screen;

Application& App() {
  static Application application;
  return application;
}

std::chrono::milliseconds TimeOfDay() {
  using namespace std::chrono;
  if (App().clock) {
    return App().clock();
  }
  const auto now = system_clock::now();
  const std::time_t seconds_now = system_clock::to_time_t(now);
  milliseconds since = duration_cast<milliseconds>(now.time_since_epoch()) % 1s;
  if (const std::tm* const local = std::localtime(&seconds_now)) {
    since += hours(local->tm_hour) + minutes(local->tm_min) + seconds(local->tm_sec);
  }
  return since;
}

void StillWorking() {
  if (App().view != nullptr) {
    App().view->StillWorking();
  }
}

namespace {

// The user has had the time in between.
void BeginAnew() {
  if (App().working) {
    App().working = std::chrono::steady_clock::now();
  }
}

Message Describe(std::u16string_view text, int flags, std::u16string_view title) {
  Message message;
  message.text = text;
  message.flags = flags;
  message.title = title;
  switch (flags & 0x0F) {
    case kYesNoCancel:
      message.buttons = {{kYes, u"&Sì"}, {kNo, u"&No"}, {kCancel, u"Annulla"}};
      break;
    case kYesNo:
      message.buttons = {{kYes, u"&Sì"}, {kNo, u"&No"}};
      break;
    default:
      message.buttons = {{kOk, u"OK"}};
  }
  message.preset = message.buttons[(flags & kDefaultSecond) != 0 ? 1 : 0].code;
  switch (flags & 0xF0) {
    case kCritical:
      message.icon = MessageIcon::Critical;
      break;
    case kQuestion:
      message.icon = MessageIcon::Question;
      break;
    case kExclamation:
      message.icon = MessageIcon::Exclamation;
      break;
    case kInformation:
      message.icon = MessageIcon::Information;
      break;
    default:
      break;
  }
  return message;
}

}  // namespace

int MsgBox(std::u16string_view text, int flags, std::u16string_view title) {
  Application& app = App();
  const Message message = Describe(text, flags, title);
  if (app.at_rest) {
    app.at_rest();
  }
  if (app.witness != nullptr) {
    app.witness->Painted();
  }
  int answer = message.preset;
  if (app.view != nullptr) {
    answer = app.view->Ask(message);
  }
  BeginAnew();
  if (app.witness != nullptr) {
    app.witness->MessageShown(message, answer);
  }
  return answer;
}

void Beep() {
  if (App().view != nullptr) {
    App().view->Beep();
  }
  if (App().witness != nullptr) {
    App().witness->Beeped();
  }
}

bool AppActivate(std::u16string_view title) {
  const bool found = App().activate && App().activate(title);
  if (App().witness != nullptr) {
    App().witness->Activated(title, found);
  }
  return found;
}

bool Shell(std::u16string_view path) {
  if (App().witness != nullptr) {
    App().witness->Started(path);
  }
  return App().start && App().start(path);
}

std::u16string Print(const Document& document) {
  if (App().at_rest) {
    App().at_rest();
  }
  if (App().witness != nullptr) {
    App().witness->Printed(document);
  }
  if (!App().print) {
    return u"";
  }
  std::u16string failure = App().print(document);
  BeginAnew();
  return failure;
}

std::u16string ShowManual(std::u16string_view chapter) {
  if (App().witness != nullptr) {
    App().witness->ManualAsked(chapter);
  }
  return App().manual ? App().manual(chapter) : u"";
}

void End(int status) { throw ProgramEnd{status}; }

}  // namespace toolkit
