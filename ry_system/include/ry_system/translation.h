// SPDX-License-Identifier: MIT
#pragma once

// Texts for people, by the source that asks for them.

#include <ry_system/export.h>

/// The text in the user's language. No catalogue is attached, so the text comes back as it stands.
/// pSourceFile names the part of the program that asks; the result stays valid as long as pText does.
RY_SYSTEM_API const wchar_t* RY_GetTranslation(const wchar_t* pText, const char* pSourceFile);
