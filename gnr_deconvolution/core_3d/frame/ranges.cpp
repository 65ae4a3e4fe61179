// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/ranges.h>

#include <algorithm>

namespace {

/// One design with two element types. R is the range's class; its ends and keys come from Traits<R>.
template <class Range>
struct Traits;

template <>
struct Traits<CRyUintRange> {
    using Value = std::uint32_t;
    static constexpr const wchar_t* kLevel = L"CRyUintRange";
    static constexpr const wchar_t* kMin = L"uiMin";
    static constexpr const wchar_t* kMax = L"uiMax";
    static constexpr auto Min = &CRyUintRange::uiMin;
    static constexpr auto Max = &CRyUintRange::uiMax;
    static Value Read(const CRyLiteVariantR& v, const wchar_t* key) {
        return static_cast<Value>(v.Get(key, 0));
    }
};

template <>
struct Traits<CRyDoubleRange> {
    using Value = double;
    static constexpr const wchar_t* kLevel = L"CRyDoubleRange";
    static constexpr const wchar_t* kMin = L"dMin";
    static constexpr const wchar_t* kMax = L"dMax";
    static constexpr auto Min = &CRyDoubleRange::dMin;
    static constexpr auto Max = &CRyDoubleRange::dMax;
    static Value Read(const CRyLiteVariantR& v, const wchar_t* key) { return v.Get(key, 0.0); }
};

constexpr const wchar_t* kValid = L"bValid";

template <class Range, class T = typename Traits<Range>::Value>
void Assign(Range& range, T least, T greatest, bool valid) {
    range.*Traits<Range>::Min = least;
    range.*Traits<Range>::Max = greatest;
    range.bValid = valid;
}

/// The ends stay only where a comparison says so: a NaN, on either side, is replaced.
template <class Range, class T = typename Traits<Range>::Value>
void Widen(Range& range, T v) {
    if (!range.bValid) {
        Assign(range, v, v, true);
        return;
    }
    T& least = range.*Traits<Range>::Min;
    T& greatest = range.*Traits<Range>::Max;
    least = v > least ? least : v;
    greatest = greatest > v ? greatest : v;
}

template <class Range>
void WidenByRange(Range& range, const Range& other) {
    if (!other.bValid) return;
    // deliberate: of a range that is added to itself the first step changes the second one's end
    Widen(range, other.*Traits<Range>::Min);
    Widen(range, other.*Traits<Range>::Max);
}

template <class Range, class T = typename Traits<Range>::Value>
int GetEnds(const Range& range, T* least, T* greatest) {
    if (!range.bValid) return gnr::kEmptyRange;
    if (least != nullptr) *least = range.*Traits<Range>::Min;
    if (greatest != nullptr) *greatest = range.*Traits<Range>::Max;
    return gnr::kSuccess;
}

template <class Range>
int Save(const Range& range, CRyLiteVariantW& v) {
    const int code = v.LevelBegin(Traits<Range>::kLevel);
    if (code != 0) return code;
    v.Set(range.*Traits<Range>::Min, Traits<Range>::kMin);
    v.Set(range.*Traits<Range>::Max, Traits<Range>::kMax);
    v.Set(range.bValid, kValid);
    v.LevelEnd();
    return gnr::kSuccess;
}

template <class Range>
int Load(Range& range, CRyLiteVariantR& v) {
    const int code = v.LevelBegin(Traits<Range>::kLevel, nullptr);
    if (code != 0) return code;
    range.*Traits<Range>::Min = Traits<Range>::Read(v, Traits<Range>::kMin);
    range.*Traits<Range>::Max = Traits<Range>::Read(v, Traits<Range>::kMax);
    range.bValid = v.Get(kValid, false);
    v.LevelEnd();
    return gnr::kSuccess;
}

}  // namespace

// ---- unsigned integers -----------------------------------------------------------------------------------

CRyUintRange::CRyUintRange(std::uint32_t v) : uiMin(v), uiMax(v), bValid(true) {}
CRyUintRange::CRyUintRange(std::uint32_t a, std::uint32_t b)
    : uiMin(std::min(a, b)), uiMax(std::max(a, b)), bValid(true) {}
void CRyUintRange::Set(std::uint32_t v) {
    Assign(*this, v, v, true);
}
void CRyUintRange::Reset() {
    *this = CRyUintRange();
}
void CRyUintRange::Add(std::uint32_t v) {
    Widen(*this, v);
}
void CRyUintRange::Add(const CRyUintRange& other) {
    WidenByRange(*this, other);
}
int CRyUintRange::Get(std::uint32_t* pMin, std::uint32_t* pMax) const {
    return GetEnds(*this, pMin, pMax);
}
int CRyUintRange::SaveToLiteVariant(CRyLiteVariantW& v) const {
    return Save(*this, v);
}
int CRyUintRange::LoadFromLiteVariant(CRyLiteVariantR& v) {
    return Load(*this, v);
}

// ---- doubles ---------------------------------------------------------------------------------------------

CRyDoubleRange::CRyDoubleRange(double v) : dMin(v), dMax(v), bValid(true) {}
CRyDoubleRange::CRyDoubleRange(double a, double b)
    : dMin(std::min(a, b)), dMax(std::max(a, b)), bValid(true) {}
void CRyDoubleRange::Set(double v) {
    Assign(*this, v, v, true);
}
void CRyDoubleRange::Reset() {
    *this = CRyDoubleRange();
}
void CRyDoubleRange::Add(double v) {
    Widen(*this, v);
}
void CRyDoubleRange::Add(const CRyDoubleRange& other) {
    WidenByRange(*this, other);
}
int CRyDoubleRange::Get(double* pMin, double* pMax) const {
    return GetEnds(*this, pMin, pMax);
}
int CRyDoubleRange::SaveToLiteVariant(CRyLiteVariantW& v) const {
    return Save(*this, v);
}
int CRyDoubleRange::LoadFromLiteVariant(CRyLiteVariantR& v) {
    return Load(*this, v);
}
