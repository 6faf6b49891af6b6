// The whole program in this process, on its model, under hands that never
// hesitate, with an archive in a folder of its own.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "platform/toolkit/application.h"
#include "platform/toolkit/control.h"

// As the program would start now. Questions are answered with Yes.
class Program : public toolkit::View {
 public:
  Program();
  ~Program() override;

  const std::filesystem::path& Folder() const { return folder_; }
  // The year database. There is none until SaveYear or a start makes one.
  const std::filesystem::path& File() const { return file_; }
  std::filesystem::path Template() const;
  std::filesystem::path Journal() const { return file_.native() + "-journal"; }

  // True when the program has come up.
  bool Start();
  void Stop();
  bool Running() const;

  // Selects the recipient's row, or the one for a new recipient (""). False
  // when the list doesn't have it.
  bool Select(std::u16string_view code);
  // A double click on that row; true when it has led to the record screen.
  bool Open(std::u16string_view code);
  // From the list to the empty record.
  bool Insert(std::u16string_view code, std::u16string_view name);
  // Up to the confirmation, which is left to do.
  bool BeginChange(std::u16string_view from, std::u16string_view to);
  void Type(toolkit::TextBox& box, std::u16string_view text);

  // The boxes since the last call.
  std::vector<toolkit::Message> TakeBoxes();

  int Ask(const toolkit::Message& message) override;
  void Beep() override {}
  void Repaint() override {}
  std::u16string Clipboard() override { return {}; }
  void SetClipboard(std::u16string_view) override {}

 private:
  std::filesystem::path folder_;
  std::filesystem::path file_;
  std::vector<toolkit::Message> boxes_;
};

// The last column of the answer, one row a line; the error instead of it.
std::string Sql(const std::filesystem::path& file, const std::string& sql);

std::string Bytes(const std::filesystem::path& file);
void SetBytes(const std::filesystem::path& file, std::string_view bytes);
