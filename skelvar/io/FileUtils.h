#pragma once

#include <skelvar/base/Api.h>

#include <string>

/// Free functions on path strings, and the few acts on folders that the file layer needs. `/` and
/// `\` both separate. No function throws for a missing path, and no path reaches a shell. Any
/// thread.
namespace Skelvar::FileUtils {

SKELVAR_API std::string forwardSlashes(std::string in_path);
SKELVAR_API std::string backwardSlashes(std::string in_path);

/// Forward slashes throughout. As a folder the path ends with one, which is appended if missing.
SKELVAR_API std::string normalizePath(std::string in_path, bool in_as_folder);
SKELVAR_API std::string normalizeFolderPath(std::string in_path);
SKELVAR_API std::string normalizeFilePath(std::string in_path);

/// The path up to its last separator, which is included: "/" for "/a.kvf", empty for "a.kvf".
SKELVAR_API std::string extractFolderPath(const std::string& in_path);

/// True if the last character is a separator.
SKELVAR_API bool isPathFolderSyntax(const std::string& in_path);

/// Backward slashes throughout.
SKELVAR_API std::string prepPathForWin(std::string in_path);

/// Whether something stands at the path. If not, `out_reason` is the path and, in brackets, why.
/// On this platform `in_folder` changes nothing: a file named with a trailing slash is not found
/// either way.
SKELVAR_API bool pathExists(const std::string& in_path, bool in_folder, std::string& out_reason);
SKELVAR_API bool filePathExists(const std::string& in_path, std::string& out_reason);

/// The file name of a frame. The pattern is the first `#` (width 4) or else the first place of the
/// longest form from `@@@@` to `@` (width 4 to 1); it is replaced by the frame number, padded with
/// zeros to the width, a minus sign counting towards it. A wider number is not cut. A path without
/// a pattern comes back as it is, any other one normalised.
SKELVAR_API std::string buildFilename(const std::string& in_path, int in_frame);

/// A path in the system's temporary folder, with a random last part. Nothing is made there. Empty
/// if the system names no temporary folder.
SKELVAR_API std::string uniqueTempFolder();

/// Makes such a folder, for its owner only, and gives its path. Empty on failure.
SKELVAR_API std::string createTempFolder();

/// Makes the folder and its missing parents. True if a folder stands there at the end.
SKELVAR_API bool createFolder(const std::string& in_path);

/// Removes the folder and all that is in it; links are removed, not followed. True if nothing
/// stands there at the end. Refuses "" and "/".
SKELVAR_API bool deleteFolder(const std::string& in_path);

}  // namespace Skelvar::FileUtils
