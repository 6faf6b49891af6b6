#include "platform/toolkit/control.h"

#include "platform/text/text.h"
#include "platform/toolkit/application.h"
#include "platform/toolkit/form.h"

namespace toolkit {

Control::Control(Kind kind, std::u16string name, int index)
    : kind_(kind), index_(index), name_(std::move(name)) {}

std::u16string Control::FullName() const {
  return index_ < 0 ? name_ : name_ + u"(" + text::Decimal(index_) + u")";
}

bool Control::Showing() const {
  return visible_ && (container_ == nullptr || container_->Showing());
}

bool Control::Usable() const {
  return visible_ && enabled_ && (container_ == nullptr || container_->Usable());
}

bool Control::CanFocus() const {
  const bool takesFocus = kind_ == Kind::TextBox || kind_ == Kind::ListBox ||
                          kind_ == Kind::CommandButton || kind_ == Kind::OptionButton;
  return takesFocus && form_ != nullptr && Usable();
}

void Control::SetVisible(bool on) {
  if (visible_ != on && form_ != nullptr) {
    form_->appearance_ = true;
  }
  Assign(visible_, on);
}

void Control::SetCaption(std::u16string_view caption) {
  if (caption_ != caption) {
    caption_ = caption;
    Touch();
  }
}

void Control::SetToolTipText(std::u16string_view text) {
  if (toolTip_ != text) {
    toolTip_ = text;
    Touch();
  }
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
}

void Control::Reset(const Design& design) {
  left_ = design.Left;
  top_ = design.Top;
  width_ = design.Width;
  height_ = design.Height;
  visible_ = design.Visible;
  enabled_ = design.Enabled;
  caption_ = design.Caption;
  toolTip_.clear();
  foreColor_ = design.ForeColor;
  backColor_ = design.BackColor;
  tabIndex_ = design.TabIndex;
  face_ = design.Face;
  edge_ = design.Edge;
}

void Control::Touch() {
  if (!touched_ && form_ != nullptr) {
    touched_ = true;
    form_->touched_.push_back(this);
  }
}

void OptionButton::SetValue(bool on) {
  if (value_ == on) {
    return;
  }
  Assign(value_, on);
  if (!on) {
    return;
  }
  for (Control* other : form_->Controls()) {
    if (other != this && other->Type() == Kind::OptionButton && other->Container() == Container()) {
      static_cast<OptionButton*>(other)->SetValue(false);
    }
  }
  if (Click) {
    Click();
  }
}

void OptionButton::Reset(const Design& design) {
  Control::Reset(design);
  value_ = false;
}

StatusBar::StatusBar(std::u16string name, int index)
    : Control(Kind::StatusBar, std::move(name), index), panels_(2) {
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
