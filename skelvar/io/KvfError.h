#pragma once

#include <string>

/// How the file layer reports: a note of the last failure for each thread, and the stated lines on
/// standard output.
namespace Skelvar::KvfError {

/// Notes `path: text` as the calling thread's last failure. Always false.
bool fail(const std::string& in_path, const std::string& in_text);
/// Notes `path: at byte N: text`.
bool failAt(const std::string& in_path, unsigned long long in_offset, const std::string& in_text);
void clear();
const std::string& last();

/// Writes "[KVF error] - ", the text and a line end to standard output, in one piece, and flushes.
void print(const std::string& in_text);

}  // namespace Skelvar::KvfError
