// The whole program in this process, on its model, with an archive in a folder
// of its own.
#pragma once

#include <optional>

#include "board.h"
#include "files.h"
#include "platform/toolkit/control.h"

// As the program would start now. Questions are answered with Yes.
class Program : public Board {
 public:
  Program();
  // In the folder of another one, which made it.
  explicit Program(const std::filesystem::path& place);
  ~Program() override;

  const std::filesystem::path& Place() const { return place_; }
  // The year database. There is none until a copy of the template or a start makes one.
  const std::filesystem::path& File() const { return file_; }
  std::filesystem::path Template() const;
  std::filesystem::path Journal() const { return sys::Beside(file_, "-journal"); }

  // From now on the program leaves copies there; the path of today's. The folder is made.
  std::filesystem::path MakeCopies();
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

 private:
  std::optional<Folder> own_;
  std::filesystem::path place_, file_;
};
