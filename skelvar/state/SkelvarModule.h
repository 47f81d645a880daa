#pragma once

#include <skelvar/base/Api.h>

#include <string>

/// What a host calls through the library's table of symbols. `in_arg` points to one word: the low
/// 32 bits are the id of a state server, the high 32 bits a value. An id without a server leaves
/// `out_text` as it is.
extern "C" {

SKELVAR_API void skelvarcore_loadModule();
SKELVAR_API void skelvarcore_unloadModule();
SKELVAR_API void skelvar_submitjobCB();

/// The server's contents as text; the value is the level of detail.
SKELVAR_API void skelvar_dumpStateServerCB(const unsigned long long* in_arg, std::string* out_text);

/// The bytes allocated by all items of the server, in decimal. The value goes on to the server's
/// offload manager, if there is one, as `memoryReport`.
SKELVAR_API void skelvar_memoryUsageCB(const unsigned long long* in_arg, std::string* out_text);
}
