// SPDX-License-Identifier: MIT
#pragma once

// Immutable-by-habit wide string that crosses library boundaries: texts of progress calls, keys of stores.

#include <ry_system/export.h>

#include <cstddef>
#include <string>

/// Wide string with value semantics.
class RY_SYSTEM_API CRyStringW {
  public:
    CRyStringW() = default;

    /// Copies a null-terminated text; null gives the empty string. The second argument is accepted for
    /// hosts that pass a text kind and has no effect.
    CRyStringW(const wchar_t* pText, int iKind = 0);

    /// The text, null-terminated; valid until the string changes.
    const wchar_t* c_str() const noexcept { return text_.c_str(); }

    /// Number of characters, without the terminator.
    size_t length() const noexcept { return text_.size(); }

    bool empty() const noexcept { return text_.empty(); }

    friend bool operator==(const CRyStringW& a, const CRyStringW& b) noexcept { return a.text_ == b.text_; }
    friend bool operator<(const CRyStringW& a, const CRyStringW& b) noexcept { return a.text_ < b.text_; }

  private:
    std::wstring text_;
};
