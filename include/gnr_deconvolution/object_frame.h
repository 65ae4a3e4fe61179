// SPDX-License-Identifier: MIT
#pragma once

// The frame of every 3D job: reference counting with zero pointers, the choice of algorithm, progress and
// stop, and the box that addresses the real image inside a padded volume.

#include <gnr_deconvolution/export.h>
#include <gnr_deconvolution/return_codes.h>
#include <ry_system/string.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <set>
#include <type_traits>
#include <utility>

// ---------------------------------------------------------------------------------- reference counting

/// Reference counting with zero pointers. All operations are const: a const handle can hold a reference.
/// AddRef and Release may be called from any thread.
class GNR_API IRyRefCount {
  public:
    virtual void AddRef() const = 0;

    /// Drops one reference; the last one nulls every registered zero pointer and destroys the object.
    virtual void Release() const = 0;

    /// Registers the address of a pointer variable that watches this object without owning it. When the
    /// last reference goes, that variable becomes null. Registering twice is registering once.
    virtual void AddZeroPtr(void* p) const = 0;

    /// Withdraws an address; one that was never registered is ignored.
    virtual void RemoveZeroPtr(void* p) const = 0;
};

/// Smart pointer that owns one reference of a counted object.
template <class T>
class CRyRefCountPtr {
  public:
    CRyRefCountPtr() noexcept = default;
    CRyRefCountPtr(std::nullptr_t) noexcept {}
    explicit CRyRefCountPtr(T* p) : p_(p) { Hold(); }
    CRyRefCountPtr(const CRyRefCountPtr& other) : p_(other.p_) { Hold(); }
    CRyRefCountPtr(CRyRefCountPtr&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
    template <class U>
    requires std::is_convertible_v<U*, T*> CRyRefCountPtr(const CRyRefCountPtr<U>& other) : p_(other.get()) {
        Hold();
    }
    template <class U>
    requires std::is_convertible_v<U*, T*> CRyRefCountPtr(CRyRefCountPtr<U>&& other)
    noexcept : p_(other.Detach()) {}
    ~CRyRefCountPtr() { Drop(); }

    CRyRefCountPtr& operator=(const CRyRefCountPtr& other) {
        CRyRefCountPtr(other).Swap(*this);
        return *this;
    }
    CRyRefCountPtr& operator=(CRyRefCountPtr&& other) noexcept {
        CRyRefCountPtr(std::move(other)).Swap(*this);
        return *this;
    }
    template <class U>
    requires std::is_convertible_v<U*, T*> CRyRefCountPtr& operator=(const CRyRefCountPtr<U>& other) {
        CRyRefCountPtr(other).Swap(*this);
        return *this;
    }
    template <class U>
    requires std::is_convertible_v<U*, T*> CRyRefCountPtr& operator=(CRyRefCountPtr<U>&& other) noexcept {
        CRyRefCountPtr(std::move(other)).Swap(*this);
        return *this;
    }

    T* get() const noexcept { return p_; }
    T* operator->() const noexcept { return p_; }
    T& operator*() const noexcept { return *p_; }
    explicit operator bool() const noexcept { return p_ != nullptr; }

    /// Drops the reference and becomes empty.
    void reset() { CRyRefCountPtr().Swap(*this); }

    template <class U>
    bool operator==(const CRyRefCountPtr<U>& other) const noexcept {
        return p_ == other.get();
    }
    bool operator==(std::nullptr_t) const noexcept { return p_ == nullptr; }

  private:
    template <class U>
    friend class CRyRefCountPtr;

    void Hold() const {
        if (p_ != nullptr) p_->AddRef();
    }
    void Drop() const {
        if (p_ != nullptr) p_->Release();
    }
    T* Detach() noexcept { return std::exchange(p_, nullptr); }
    void Swap(CRyRefCountPtr& other) noexcept { std::swap(p_, other.p_); }

    T* p_ = nullptr;
};

namespace gnr {

/// Count of owners, changed by locked increment and decrement only; copied as a plain value.
class OwnerCount {
  public:
    OwnerCount() = default;
    OwnerCount(const OwnerCount& other) noexcept : count_(other.count_.load()) {}
    OwnerCount& operator=(const OwnerCount& other) noexcept {
        count_ = other.count_.load();
        return *this;
    }
    ~OwnerCount() = default;
    operator std::int32_t() const noexcept { return count_; }
    std::int32_t Increment() noexcept { return ++count_; }
    std::int32_t Decrement() noexcept { return --count_; }

  private:
    std::atomic<std::int32_t> count_ = 1;
};

/// Critical section of one object. A copy is a fresh lock, unlocked: who holds it is no value to copy.
class ObjectLock {
  public:
    ObjectLock() = default;
    ObjectLock(const ObjectLock&) noexcept {}
    ObjectLock& operator=(const ObjectLock&) noexcept { return *this; }
    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }

  private:
    std::mutex mutex_;
};

/// Orders addresses as unsigned numbers.
struct ByAddress {
    bool operator()(const void* a, const void* b) const noexcept {
        return reinterpret_cast<std::uintptr_t>(a) < reinterpret_cast<std::uintptr_t>(b);
    }
};

/// The registered zero pointers, ascending by address.
using ZeroPtrSet = std::set<void*, ByAddress>;

}  // namespace gnr

// -------------------------------------------------------------------------------- choice of algorithm

/// The host's one choice of algorithm; an argument of both factories.
enum ERyLow3DDeconvolutionType : std::int32_t {
    eDeconvBlind = 1,
    eDeconvWiener = 2,
    eDeconvAcceleratedLucyRichardsonTM = 3,
    eDeconvLandweber = 5,
    eDeconvLandweberAutomatic = 11,
    eDeconvDirectRun = 21,    ///< run parameters for a core that the host constructs itself
    eDeconvDirectAuto = 22,   ///< the same, automatic parameters
    eDeconvDirectAuto2 = 23,  ///< the same; told apart from 22 by the host alone
};

// ----------------------------------------------------------------------------------- progress and stop

/// When a progress call is made.
enum ERyProgressPhase : std::int32_t {
    eProgressStepBegin = 7,     ///< before a unit of work; n is 0 (one entry sends 1)
    eProgressStepEnd = 8,       ///< after work; n units are done, for the host to add up
    eProgressPoll = 13,         ///< a bare stop check inside long work; n is 0
    eProgressPollBlind2D = 14,  ///< the same, from the 2D blind inner loop
};

/// Progress and stop. Called on the thread that runs the job, never on a worker.
/// text  what is being done, translated; valid for the call
/// a, b, c  always 0
/// n     units of work just finished, with eProgressStepEnd
/// result  0 goes on; anything else stops the job
using RyProgressCallback = int (*)(const CRyStringW& text, unsigned a, unsigned b, unsigned c, unsigned n,
                                   ERyProgressPhase phase, void* pData);

// ------------------------------------------------------------------------------------------------ box

/// Box of samples inside the logical volume; the maxima are exclusive.
struct SRyIRect3D {
    std::int32_t iMinX;
    std::int32_t iMaxX;
    std::int32_t iMinY;
    std::int32_t iMaxY;
    std::int32_t iMinZ;
    std::int32_t iMaxZ;
};
