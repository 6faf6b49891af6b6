// The database operations that the program works with, on an SQLite 3 file, or on a PostgreSQL
// server whose address stands in the file.
//
// Names in the file. A table bears its own name. SQLite wants the names of indexes unique in the
// file, while here nearly every table has an index CHIAVE, so in the file an index bears the
// table's name, a point and its own: "PERCPARCELLE.CHIAVE". Key columns are declared COLLATE RTRIM:
// a text filled up with blanks at the right equals the same text without them, in Seek and in SQL
// texts alike, through the index.
//
// At rest. A recordset may hold a running statement, and with it a shared lock on the file, only
// while one event of the form runs. Whoever runs the events calls Rest() after each of them and
// before each wait for the user. The file is then whole on its own, unlocked, and has no side
// files: rollback journal, every commit synchronised before the call returns.
//
// Neither reads nor writes go to a file that was moved, replaced or deleted since it was
// opened: the first call after Rest() that needs the file throws kMoved then.
//
// On a server the names are those in small letters, with an underscore for the point, and key
// columns are bpchar COLLATE "C"; each row has its number in an identity column, which isn't one of
// the recordset. At rest no transaction is open there. A call that the server doesn't answer ends
// within a few seconds with kIo; after it every call does so at once, until Rest(), and then the
// next one connects anew.
//
// Every call may throw Error, and std::bad_alloc, but nothing else. A call
// that throws has changed neither the file nor the current row. A lock of
// another process is waited for, up to 5 seconds. One thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/text/error.h"

namespace engine {

// Numbers of Error that callers distinguish or tests name.
enum ErrorNumber : int {
  kNoObject = 91,        // the variable holds no database or recordset
  kNotFound = 3024,      // no such file
  kNoCurrentRow = 3021,  // a row is needed and there is none
  kNotEditing = 3020,    // Update or Set without AddNew or Edit
  kDuplicateKey = 3022,  // a unique index refuses the row
  kDiskFull = 3026,      // no room left
  kReadOnly = 3027,      // file or folder can't be written
  kMoved = 3051,         // the file was moved, replaced or deleted since it was opened
  kNoTable = 3078,       // no such table
  kNoIndex = 3015,       // no such index on the table
  kSyntax = 3075,        // an SQL text that isn't one of those understood
  kRowGone = 3167,       // the current row has been deleted
  kNotOneRow = 3362,     // what means one row would have changed another number of rows
  kNoRowNumber = 3326,   // the table's rows can't be told apart
  kLocked = 3260,        // another process held its lock for too long
  kNoColumn = 3265,      // no such column
  kNotADatabase = 3343,  // not a database, or a damaged one
  kOldFormat = 3274,     // an archive of the suite's old engine; the text names the remedy
  kClosed = 3420,        // the object is closed
  kIo = 3043,            // reading or writing the disk failed, or the server can't be reached
  kUncertain = 3151,     // a commit was cut off, and it can't be learnt whether it took place
  kOther = 3000,         // anything else
};

// Its text names file, table or index.
class Error : public text::Error {
 public:
  Error(int number, std::u16string text) : text::Error(std::move(text)), number_(number) {}
  int Number() const { return number_; }
  // True when it is the database that is wrong: it isn't one, or lacks what it should have.
  bool DatabaseUnfit() const;

 private:
  int number_;
};

// Value of a column: a text, or Null.
using Value = std::optional<std::u16string>;

class RecordsetState;
class DatabaseState;

// One column of a recordset's current row. Lives no longer than the recordset
// stands where it stood when Fields() returned it.
class Field {
 public:
  // The value in the row; between AddNew or Edit and Update the value set, if
  // one was. Throws kNoCurrentRow, kRowGone.
  Value Get() const;
  // The same with Null as the empty text.
  std::u16string Text() const;
  // The same without a copy; valid until the next call on the recordset.
  std::u16string_view View() const;
  // Throws kNotEditing outside AddNew or Edit ... Update.
  void Set(Value value);

 private:
  friend class Recordset;
  Field(RecordsetState& recordset, int column) : recordset_(&recordset), column_(column) {}
  RecordsetState* recordset_;
  int column_;
};

// A variable for a recordset; empty at first, and a copy means the same recordset. On an empty
// variable every call throws kNoObject (91), after Close kClosed (3420).
//
// Two kinds. A table recordset, opened by a bare name, moves through the table in the order of the
// index set with Index (before that, of insertion), each move going by the table as it is then. A
// query recordset, opened from "SELECT * FROM table [WHERE ...] [ORDER BY ...]", moves through the
// rows that the text found at its first move, each met once, in the text's order, whatever is
// written meanwhile; rows can be edited and deleted there too.
//
// WHERE takes "column = 'text'", and several of these with OR between. A column of keys
// equals the text but for blanks at their right ends.
//
// ORDER BY takes columns' names. Where one of them is a key, the order is that of the
// characters' codes, Null first, as in the table's moves; otherwise it is that of a telephone
// book: by letters, regardless of case, accents and blanks around a text, and where these are
// equal by the exact text.
//
// A column is read when it is asked for, so that it shows what was written
// since the move; on a row that someone else has deleted it throws kRowGone.
//
// After opening, and after Index, the first row is the current one, if there
// is a row; otherwise Bof and Eof are both true.
class Recordset {
 public:
  Recordset() = default;

  // Table recordsets only. Later Seek and moves follow the index's first
  // column, rows of one key in the order of their making. Throws kNoIndex.
  void Index(std::u16string_view name);

  // Table recordsets with an index. `comparison` is "=". Places the recordset on the first row with
  // that key and sets NoMatch. When nothing matches there is no current row until the next Seek or
  // move; MoveNext and MovePrevious go to the rows between which the key would stand. Throws
  // kNoIndex when no index is set.
  void Seek(std::u16string_view comparison, const Value& key);
  // The same with the first of these keys that a row has; there is at least one. When none has, the
  // moves go to the neighbours of the first.
  void Seek(std::u16string_view comparison, std::span<const std::u16string> keys);
  bool NoMatch() const;

  // Where there is nothing to move from (past that end already, no rows)
  // MoveNext and MovePrevious throw kNoCurrentRow.
  void MoveFirst();     // On an empty recordset Bof and Eof become true.
  void MoveNext();      // From before the first row: to the first one.
  void MovePrevious();  // From after the last row: to the last one.

  // True when a move passed the first row, the last row. (Not BOF and EOF: the
  // C library owns the second name.)
  bool Bof();
  bool Eof();

  // 0 when there is no row, otherwise 1: no caller wants the number, and
  // counting a million rows takes time.
  long RecordCount();

  // Column by name, upper and lower case alike. Throws kNoColumn.
  Field Fields(std::u16string_view name);

  // AddNew: a new row, columns not set stay Null or take their default. Edit:
  // the current row. A move, Seek or Index before Update drops the pending edit.
  void AddNew();
  void Edit();
  // Writes the row; done on disk when the call returns. After Edit only the columns
  // set are written, without one nothing is; the row stays current, at its place in the index by
  // its new key; after AddNew the current row is the one from before. When it fails, the edit stays
  // pending: Update can be tried again, a move drops it.
  void Update();
  // The current row goes. Until the next move there is no current row; MoveNext
  // and MovePrevious go to the deleted row's neighbours.
  void Delete();

  void Close();

 private:
  friend class Database;
  explicit Recordset(std::shared_ptr<RecordsetState> state) : state_(std::move(state)) {}
  RecordsetState& State() const;
  std::shared_ptr<RecordsetState> state_;
};

// A variable for an open database, with the same rules for empty and closed.
// Closing it closes its recordsets.
class Database {
 public:
  Database() = default;

  // `source` is a bare table name or a SELECT text. Throws kNoTable, kNoColumn, kSyntax,
  // kNoRowNumber.
  Recordset OpenRecordset(std::u16string_view source);

  // Runs "delete * from table [where ...]", with the same conditions. Throws as OpenRecordset does.
  void Execute(std::u16string_view sql);

  // Whether anything was written through this variable since it was opened.
  bool Written();

  struct Trigger {
    std::u16string name, table;
  };
  // What other programs have put into the file to run on its own with each write to
  // a table; it runs with ours too. By table and name.
  std::vector<Trigger> Triggers();

  // What is written between BeginTrans and CommitTrans is on disk whole when CommitTrans returns,
  // or, after Rollback, a failure or a crash, not at all. A write that fails inside rolls all of it
  // back on its own. Rollback does nothing where no transaction is open, and never throws.
  void BeginTrans();
  void CommitTrans();
  void Rollback() noexcept;

  void Close();

 private:
  friend Database OpenDatabase(std::u16string_view);
  explicit Database(std::shared_ptr<DatabaseState> state) : state_(std::move(state)) {}
  DatabaseState& State() const;
  std::shared_ptr<DatabaseState> state_;
};

// Opens an existing file for reading and writing. The name's backslashes mean
// the folder separator and letter case doesn't count (platform/system/paths.h).
// A file in a folder that can't be written is kReadOnly, too: there is no room
// for the journal. Throws kNotFound, kOldFormat, kNotADatabase, kReadOnly, kLocked, kIo.
Database OpenDatabase(std::u16string_view name);

// Ends the running statements of all open databases (see At rest). Query recordsets keep the rows
// still to come. Never throws; costs nothing where nothing runs.
void Rest() noexcept;

// Called many times a second while the engine works long or waits for another program, in
// the middle of its calls. It must not call the engine; an empty one isn't called.
void WhileWorking(std::function<void()> look);
// The same, once it is a server that hasn't answered for half a second.
void WhileWaiting(std::function<void()> look);

// ---- Databases as files. Names as in OpenDatabase. Calls that fail throw Error or
// sys::FileError.

// Whether a text begins as the address of a PostgreSQL server does.
bool IsServerAddress(std::string_view text);
// The address of a PostgreSQL server that the file holds in place of an archive, one line; empty
// where it is anything else.
std::string ServerAddress(std::u16string_view name);

// Makes the database `name`, which isn't there, as a copy of the file `model`. It never exists
// as a half file; one that exists is never touched. A model of the old engine is kOldFormat.
void CreateDatabase(std::u16string_view model, std::u16string_view name);

// Removes a database that nobody has open. One that isn't there, or can't be removed, is passed
// over.
void RemoveDatabase(std::u16string_view name);

// Copies the database `from`, as it is at one moment, to the file `to` in a folder that exists:
// every page and index of the copy has been read, and it is on disk. `to` is whole at any moment,
// whatever happens: a plain file of that name is replaced. A write to `from` that was cut off is
// undone first.
void CopyDatabase(std::u16string_view from, std::u16string_view to);

// True when a write was cut off and is still to be undone, which the next OpenDatabase does.
bool WriteCutOff(std::u16string_view name);

// True when the file has further names in the file system. Opened by another one after a
// write that was cut off, the database is ruined: what is needed to undo the write bears the
// name that the file was opened by.
bool HasOtherNames(std::u16string_view name);

// `text` for use between apostrophes in an SQL text, whatever it holds.
std::u16string Quoted(std::u16string_view text);

}  // namespace engine
