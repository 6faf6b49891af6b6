// The program in this process: its model alone, or with its window on Qt's
// offscreen platform.
#pragma once

#include <QString>
#include <filesystem>
#include <memory>
#include <string>

#include "platform/desktop/desktop.h"
#include "platform/toolkit/application.h"
#include "platform/toolkit/control.h"

namespace bench {

enum class Show { Nothing, Window };

class MeasuredProgram {
 public:
  MeasuredProgram(const std::filesystem::path& archive, Show show);
  ~MeasuredProgram();
  MeasuredProgram(const MeasuredProgram&) = delete;
  MeasuredProgram& operator=(const MeasuredProgram&) = delete;

  // Each with the mouse where there is a window, followed by Draw.
  void Click(toolkit::Control& control);
  void ClickRow(toolkit::ListBox& list, int row);
  void DblClickRow(toolkit::ListBox& list, int row);

  void Key(const QString& character);  // printable, or "\b"
  void Draw();                         // paints what has changed, now
  // For what was changed by other means; draws, too.
  void Settle();
  desktop::Window* Window() { return window_.get(); }

 private:
  std::unique_ptr<desktop::Window> window_;
};

// The one that runs, started anew only for another archive or show.
MeasuredProgram& Running(const std::filesystem::path& archive, Show show);
void EndRunning();

void SendKey(QWidget& widget, const QString& character);
// Paints at once what is dirty in a window.
void Draw(QWidget& window);
// Shows a window and waits until it is drawn, with the focus in it.
void ShowDrawn(QWidget& window);
// Only the active window shows a caret.
void Activate(QWidget& window);

// The recipient's record on the screen, from the list.
void OpenRecord(int row);
// Back to the list as it stands.
void LeaveRecord();

}  // namespace bench
