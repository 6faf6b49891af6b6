#include "platform/toolkit/control.h"

#include <algorithm>

#include "platform/text/text.h"
#include "platform/toolkit/application.h"
#include "platform/toolkit/form.h"
#include "platform/toolkit/keys.h"

namespace toolkit {

Control::Control(std::u16string name, int index) : index_(index), name_(std::move(name)) {}

std::u16string Control::FullName() const {
  if (index_ < 0) {
    return name_;
  }
  return name_ + u"(" + text::Decimal(index_) + u")";
}

bool Control::Showing() const {
  return visible_ && (container_ == nullptr || container_->Showing());
}

bool Control::Usable() const {
  return visible_ && enabled_ && (container_ == nullptr || container_->Usable());
}

bool Control::CanFocus() const { return TakesFocus() && form_ != nullptr && Usable(); }

bool Control::HasFocus() const { return form_ != nullptr && form_->Focus() == this; }

bool Control::TakeFocus() { return form_->MoveFocus(this); }

void Control::OnClick(int /*caret*/) {
  if (Click) {
    Click();
  }
}

std::vector<MenuEntry> Control::Menu(int /*row*/) const { return {}; }

std::u16string Control::Copied(Choice /*choice*/, int /*row*/) const { return {}; }

void Control::SetVisible(bool on) {
  if (visible_ != on && form_ != nullptr) {
    form_->appearance_ = true;
  }
  Assign(visible_, on);
}

void Control::SetFocus() {
  if (!CanFocus()) {
    throw Misuse("SetFocus on a control that can't have the focus: " + text::ToUtf8(FullName()));
  }
  form_->MoveFocus(this);
}

void Control::Refresh() {
  if (App().view != nullptr) {
    App().view->Repaint();
  }
  if (App().witness != nullptr) {
    App().witness->Painted();
  }
}

void Control::Reset(const Design& design) {
  left_ = design.Left;
  top_ = design.Top;
  width_ = design.Width;
  height_ = design.Height;
  visible_ = design.Visible;
  enabled_ = design.Enabled;
  caption_ = design.Caption;
  tool_tip_.clear();
  fore_color_ = design.ForeColor;
  back_color_ = design.BackColor;
  tab_index_ = design.TabIndex;
  face_ = design.Face;
  edge_ = design.Edge;
}

void Control::Touch() {
  if (!touched_ && form_ != nullptr) {
    touched_ = true;
    form_->touched_.push_back(this);
  }
}

std::u16string Label::Copied(Choice /*choice*/, int /*row*/) const {
  return std::u16string(text::Trim(Caption()));
}

std::vector<MenuEntry> Label::Menu(int row) const {
  if (Edge() == Border::None) {
    return {};
  }
  return {{Choice::Copy, u"&Copia", !Copied(Choice::Copy, row).empty()}};
}

// --- Buttons

char16_t Button::AccessKey() const {
  const std::u16string& caption = Caption();
  for (std::size_t i = 0; i + 1 < caption.size(); ++i) {
    if (caption[i] == u'&') {
      if (caption[i + 1] != u'&') {
        return text::Upper(caption[i + 1]);
      }
      ++i;
    }
  }
  return 0;
}

void Button::OnClick(int /*caret*/) {
  if (TakeFocus()) {
    Act();
  }
}

void Button::OnKey(const KeyStroke& stroke) {
  if ((stroke.key == Key::Enter && !stroke.shift && !stroke.control) || stroke.text == u" ") {
    OnClick(0);
  }
}

void Button::Act() { Control::OnClick(0); }

void CommandButton::Reset(const Design& design) {
  Control::Reset(design);
  main_ = design.Main;
}

void OptionButton::SetValue(bool on) {
  if (value_ == on) {
    return;
  }
  Assign(value_, on);
  if (!on) {
    return;
  }
  for (OptionButton* other : Group()) {
    if (other != this) {
      other->SetValue(false);
    }
  }
  if (Click) {
    Click();
  }
}

// The option buttons of the same frame, in tab order.
std::vector<OptionButton*> OptionButton::Group() const {
  std::vector<OptionButton*> group;
  for (Control* other : form_->Controls()) {
    auto* option = dynamic_cast<OptionButton*>(other);
    if (option != nullptr && option->Container() == Container()) {
      group.push_back(option);
    }
  }
  std::ranges::stable_sort(group, {}, &Control::TabIndex);
  return group;
}

// In a group Tab goes to the one that is on.
bool OptionButton::IsTabStop() const {
  return value_ || std::ranges::none_of(Group(), &OptionButton::Value);
}

void OptionButton::Act() {
  if (value_ && Again) {
    Again();
  }
  SetValue(true);
}

// Arrows go round the group and switch on what they reach.
void OptionButton::OnKey(const KeyStroke& stroke) {
  const bool back = stroke.key == Key::Left || stroke.key == Key::Up;
  const bool on = stroke.key == Key::Right || stroke.key == Key::Down;
  if (stroke.text == u" ") {
    OnClick(0);
  } else if (back || on) {
    std::vector<OptionButton*> group = Group();
    std::erase_if(group, [](const OptionButton* option) { return !option->CanFocus(); });
    if (back) {
      std::ranges::reverse(group);
    }
    const auto here = std::ranges::find(group, this);
    std::rotate(group.begin(), here, group.end());  // the one of ranges fails under clang 14
    group[1 % group.size()]->OnClick(0);
  }
}

void OptionButton::Reset(const Design& design) {
  Control::Reset(design);
  value_ = false;
}

StatusBar::StatusBar(std::u16string name, int index) : Control(std::move(name), index), panels_(2) {
  for (Panel& panel : panels_) {
    panel.bar_ = this;
  }
}

StatusBar::Panel& StatusBar::Panels(int n) {
  if (n < 1 || n > PanelCount()) {
    throw Misuse("no such panel of the status bar");
  }
  return panels_[static_cast<std::size_t>(n) - 1];
}

void StatusBar::Panel::SetText(std::u16string_view text) {
  if (text_ != text) {
    text_ = text;
    bar_->Touch();
  }
}

void StatusBar::Reset(const Design& design) {
  Control::Reset(design);
  for (Panel& panel : panels_) {
    panel.text_.clear();
  }
}

}  // namespace toolkit
