// Clipboard output: the choice between typing and pasting an expansion, the buffer that
// collects a text for pasting, the paste itself, the backup and restore of the user's
// clipboard around it, and the expansion sound.
//
// Threads: the keysim thread only, except clipboard_get_text_contents(), which any thread may
// call.
#pragma once

#include <optional>
#include <string>

#include "monitor/tai.h"

// 0 typing, 1 clipboard, for the final text of an expansion (null: no text) of `len` bytes
// (-1: unknown, which types).
int repl_output_method(const char* text, long len);

// The output buffer.
void clipboard_buf_setup(size_t len);
void clipboard_buf_append_char(char byte);
// Pastes what the buffer holds; with a request, its capitalise flag applies to the first
// character. `reset` empties the buffer afterwards.
void clipboard_buf_paste(int reset, const typed_abbrev_info* tai);
void clipboard_buf_free();
// What the buffer holds (for inspection).
std::string clipboard_buf_contents();

// Saves every format of the user's clipboard; a later restore puts them back.
void clipboard_backup_contents();
void clipboard_restore_contents();
bool clipboard_has_backup();

// The clipboard's text (CR LF left as it is), or none. One attempt; the _wait form retries.
std::optional<std::string> clipboard_get_text_contents();
std::optional<std::string> clipboard_get_text_contents_wait();

// Terminals paste the PRIMARY selection with Shift+Insert; everything else pastes the
// clipboard with Ctrl+V. True for a window class of the first kind.
bool clipboard_class_pastes_primary(const std::string& window_class);

void play_sound_before_abbrev_replacement();
