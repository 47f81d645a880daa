#include <skelvar/io/KvfError.h>

#include <skelvar/io/Kvf.h>

#include <iostream>

namespace Skelvar {

namespace KvfError {

namespace {

std::string& note()
{
    thread_local std::string s_note;
    return s_note;
}

}  // namespace

bool fail(const std::string& in_path, const std::string& in_text)
{
    note() = in_path + ": " + in_text;
    return false;
}

bool failAt(const std::string& in_path, unsigned long long in_offset, const std::string& in_text)
{
    return fail(in_path, "at byte " + std::to_string(in_offset) + ": " + in_text);
}

void clear()
{
    note().clear();
}

const std::string& last()
{
    return note();
}

void print(const std::string& in_text)
{
    const std::string line = "[KVF error] - " + in_text + "\n";
    std::cout.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
}

}  // namespace KvfError

const std::string& kvfLastError()
{
    return KvfError::last();
}

}  // namespace Skelvar
