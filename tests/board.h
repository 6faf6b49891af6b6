// A screen that shows nothing and keeps what reaches it. A question gets its
// first answer.
#pragma once

#include <string>
#include <vector>

#include "platform/toolkit/application.h"

class Board : public toolkit::View {
 public:
  int Ask(const toolkit::Message& message) override {
    asked.push_back(message);
    return message.buttons[0].code;
  }
  void Beep() override { ++beeps; }
  void Repaint() override {}
  std::u16string Clipboard() override { return clipboard; }
  void SetClipboard(std::u16string_view text) override { clipboard = text; }

  std::vector<toolkit::Message> asked;
  std::u16string clipboard;
  int beeps = 0;
};
