// Small text-file routines shared by the monitor's batch programs. The tokenizer and the line
// finder keep their place between calls: one tokenization and one search at a time.
#pragma once

// Bytes that the line buffer of pmonSubFileGetOneLine must hold, terminator included.
inline constexpr int kPmonSubLineSize = 4096;

// Returns the field that begins at `text` (null: behind the delimiter found last), its delimiter
// overwritten with a terminator; null when no delimiter follows. Adjacent delimiters give empty
// fields; the text behind the last delimiter is never returned.
char* pmonSubCsvtok(char* text, const char* delimiters);

// 1 when `text` is not empty and holds decimal digits only, else 0 (null included).
int pmonSubIsDigit(const char* text);

// Reads on to the next line that holds `search` (null: none does) and leaves it in `line`. With a
// `path` that file is opened first, else the search goes on where the last call stopped. Lines are
// read in pieces of kPmonSubLineSize. A null `line` closes the file. Returns
//   0  found, with exactly `commas` commas (0: any number)
//   3  the file cannot be opened
//   4  found, with another number of commas
//   5  end of the file; `line` is emptied
//   15 no path given and no file open
//   80 closed
//   81 the end had been met before a read; `line` is emptied
int pmonSubFileGetOneLine(const char* path, char* line, const char* search, int commas);

// Appends the file `source` to the file `destination` and adds its number of lines to `*lines`. 0,
// or 3 when a file cannot be opened or the copy is not complete.
int pmonSubFileMergeAdd(const char* source, const char* destination, int* lines);

// Writes `text` to the file `path` opened with `mode`. 0, or 3 when opening or writing failed.
int pmonSubFilePutTxt(const char* text, const char* path, const char* mode);

// Operation `code` on the file `path`:
//   '2' make sure that it exists: 10, or -1 when it cannot be opened for appending
//   'F' query: 2 it has content, 3 it is empty, 4 it does not exist, -1 the query failed
//   '<' remove: 1 removed, 5 not removed, 4 and -1 as for 'F'
//   any other: 0
// After a failure errno is that of the failed call.
int pmonSubFileOperation(const char* path, char code);
