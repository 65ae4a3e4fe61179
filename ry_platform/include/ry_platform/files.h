// SPDX-License-Identifier: MIT
#pragma once

// Plain files, read and written from the front by counts of bytes.
//
// Common to all: paths are null-terminated wide texts, one character a code point; a byte of a file name
// that is no UTF-8 is the character U+DC00 plus the byte, so that every name of the system has a path.
// Operations return 0, or -9 where the system refuses; nothing is thrown. Arguments named unused have no
// effect. A handle is used by one thread at a time.

#include <ry_platform/export.h>

/// An open file.
using RyFileHandle = int;

/// Opens a regular file; folders, pipes and devices are refused.
///
/// iMode    1: reading. 2: writing an existing file from empty; a symbolic link is refused. 6: as 2, but a
///          file that is missing is made, for its owner alone. Other values are refused.
/// pHandle  out: the file, to be given to RY_CloseFile; left alone on failure
RY_PLATFORM_API int RY_OpenFile(const wchar_t* pPath, int iMode, int iUnused1, int iUnused2,
                                RyFileHandle* pHandle);

/// Reads up to uiBytes bytes and reports in *puiRead how many came: fewer at the end of the file, or where
/// the system fails, which is -9.
RY_PLATFORM_API int RY_ReadFile(RyFileHandle hFile, void* pvBytes, unsigned long long uiBytes,
                                unsigned long long* puiRead, int iUnused);

/// Writes uiBytes bytes and reports in *puiWritten how many went; -9 where these are fewer, as on a full disk.
RY_PLATFORM_API int RY_WriteFile(RyFileHandle hFile, const void* pvBytes, unsigned long long uiBytes,
                                 unsigned long long* puiWritten, int iUnused);

/// The size of an open file in bytes.
RY_PLATFORM_API int RY_GetFileSize(RyFileHandle hFile, unsigned long long* puiBytes);

/// Closes a file; its handle is void afterwards, whatever the result.
RY_PLATFORM_API int RY_CloseFile(RyFileHandle hFile);

/// Removes a file; -9 where there is none.
RY_PLATFORM_API int RY_RemoveFile(const wchar_t* pPath, int iUnused);
