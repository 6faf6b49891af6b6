// A form with one of everything, for tests of the model and of the window.
#pragma once

#include "platform/toolkit/application.h"
#include "platform/toolkit/control.h"
#include "platform/toolkit/form.h"

struct Sample {
  explicit Sample(int maxLength) {
    using toolkit::Design;
    toolkit::App() = {};
    toolkit::Screen = {};
    const auto at = [](int left, int top, int width, int height, Design design = {}) {
      design.Left = left, design.Top = top, design.Width = width, design.Height = height;
      return design;
    };
    const toolkit::Placed table[] = {
        {panel, nullptr, nullptr, at(120, 120, 8000, 6000)},
        {label, &panel, nullptr, at(150, 150, 1800, 210, {.Caption = u" Codice & fiscale "})},
        {one, &panel, &label, at(150, 375, 1830, 315, {.TabIndex = 0, .MaxLength = maxLength})},
        {two, &panel, nullptr,
         at(2100, 375, 1830, 315, {.Caption = u"MI\x85", .TabIndex = 1, .Locked = true})},
        {off, &panel, nullptr, at(4200, 375, 900, 315, {.TabIndex = 2, .Enabled = false})},
        {open, &panel, &label, at(1800, 900, 300, 315, {.Caption = u"...", .TabIndex = 4})},
        {first, &panel, nullptr, at(4200, 900, 1500, 285, {.Caption = u"uno", .TabIndex = 5})},
        {second, &panel, nullptr, at(4200, 1200, 1500, 285, {.Caption = u"due", .TabIndex = 6})},
        {go, &panel, nullptr, at(150, 900, 1500, 450, {.Caption = u"&Vai", .TabIndex = 7})},
        {list, &panel, &label,
         at(150, 1500, 6675, 3840, {.TabIndex = 3, .Face = toolkit::Font::Fixed})},
        {date, &panel, nullptr,
         at(5400, 375, 1230, 315, {.Caption = u"00/00/0000", .Masked = true})},
        {status, nullptr, nullptr, at(0, 8400, 9000, 345)},
        {cover, nullptr, nullptr, at(270, 495, 600, 300, {.Visible = false})},
    };
    form.Build(table, u"Prova", toolkit::kWhite);
    go.Click = [this] { ++clicks; };
  }
  ~Sample() { toolkit::App() = {}; }

  toolkit::Form form{u"ANAGPARC"};
  toolkit::Frame panel{u"Frame1"}, cover{u"Frame2"};
  toolkit::Label label{u"Label1"};
  toolkit::TextBox one{u"Text1", 0}, two{u"Text1", 1}, off{u"Text1", 2}, date{u"Text1", 3};
  toolkit::CommandButton go{u"Vai"}, open{u"Apri"};
  toolkit::OptionButton first{u"Option1", 0}, second{u"Option1", 1};
  toolkit::ListBox list{u"List1"};
  toolkit::StatusBar status{u"StatusBar1"};
  int clicks = 0;  // of go
};
