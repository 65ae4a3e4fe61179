// SPDX-License-Identifier: MIT
#pragma once

// The temporary folder, folders under it, and names that no other file has. Paths and results are those of
// files.h.

#include <ry_platform/export.h>

/// The folder for temporary files, absolute, with a separator at its end: the environment's TMPDIR where it is
/// set, /tmp otherwise. The folder need not exist.
///
/// pBuffer  out: the path with its terminator, at most uiCharacters characters
/// Returns  the length without the terminator; 0 where the path does not fit, and the buffer is left alone
RY_PLATFORM_API unsigned RY_GetTempPath(unsigned uiCharacters, wchar_t* pBuffer);

/// Makes one folder. It is open to all users as the temporary folder is, each of whom can remove only what is
/// theirs. -9 where it exists already or its parent is missing.
RY_PLATFORM_API int RY_CreateDirectory(const wchar_t* pPath, int iUnused1, int iUnused2);

/// Makes an empty file with a name of its own, readable by its owner alone, and tells its path. No two calls,
/// of this process or of others, get the same one.
///
/// pFolder  ends in a separator
/// pPrefix  what the file's name begins with
/// pBuffer  out: the path with its terminator, at most uiCharacters characters
/// Returns  -9 where the file cannot be made or its path does not fit; then there is no file
RY_PLATFORM_API int RY_GetTempFileName(const wchar_t* pFolder, const wchar_t* pPrefix, unsigned uiUnused,
                                       wchar_t* pBuffer, unsigned uiCharacters);
