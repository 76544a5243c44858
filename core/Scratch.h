// Scratch containers borrowed from a per-thread pool and returned by their destructor,
// also when an exception passes. A borrowed object arrives empty (length 0) with any
// precision: size it before use.
#pragma once

#include "Containers.h"
#include "kalix_export.h"

namespace Kalix {

namespace detail {
KALIX_EXPORT TVec* ScratchAcquire(TVec*);
KALIX_EXPORT TMtx* ScratchAcquire(TMtx*);
KALIX_EXPORT TVecInt* ScratchAcquire(TVecInt*);
KALIX_EXPORT void ScratchRelease(TVec*) noexcept;
KALIX_EXPORT void ScratchRelease(TMtx*) noexcept;
KALIX_EXPORT void ScratchRelease(TVecInt*) noexcept;
}  // namespace detail

/// Number of scratch containers the calling thread has borrowed and not yet returned.
KALIX_EXPORT int ScratchOutstanding() noexcept;

/// RAII loan of one TVec, TMtx or TVecInt from the calling thread's pool.
template <class C>
class TScratch {
 public:
  TScratch() : obj_(detail::ScratchAcquire(static_cast<C*>(nullptr))) {}
  ~TScratch() { detail::ScratchRelease(obj_); }
  TScratch(const TScratch&) = delete;
  TScratch& operator=(const TScratch&) = delete;

  C& operator*() const noexcept { return *obj_; }
  C* operator->() const noexcept { return obj_; }
  C& Get() const noexcept { return *obj_; }
  operator C&() const noexcept { return *obj_; }  // NOLINT(google-explicit-constructor)

 private:
  C* obj_;
};

using TVecScratch = TScratch<TVec>;
using TMtxScratch = TScratch<TMtx>;
using TVecIntScratch = TScratch<TVecInt>;

}  // namespace Kalix
