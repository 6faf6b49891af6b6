// The base of our exceptions that are told to the user.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "platform/text/text.h"

namespace text {

class Error : public std::runtime_error {
 public:
  explicit Error(std::u16string text) : std::runtime_error(ToUtf8(text)), text_(std::move(text)) {}
  explicit Error(const std::string& utf8) : std::runtime_error(utf8), text_(FromUtf8(utf8)) {}
  // Italian, for the user: says what failed and names what it failed on. what() is the same
  // in UTF-8.
  const std::u16string& Text() const { return text_; }

 private:
  std::u16string text_;
};

}  // namespace text
