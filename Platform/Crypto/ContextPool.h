#pragma once

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace platform {

/// Contexts of one key that are made when they are needed and used again. Any thread may take one; there are
/// never more than threads that use one at once. `Context` wipes itself when it goes.
template <class Context>
class ContextPool {
 public:
  /// A context of the pool, given back when it goes. One that threw while it was used is not given back.
  class Lease {
   public:
    Lease(ContextPool& pool, std::unique_ptr<Context> context) : pool_(pool), context_(std::move(context)) {}
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;
    Context* operator->() const { return context_.get(); }
    /// Ends the lease after good use.
    void giveBack() {
      std::lock_guard lock(pool_.mutex_);
      pool_.idle_.push_back(std::move(context_));
    }

   private:
    ContextPool& pool_;
    std::unique_ptr<Context> context_;
  };

  template <class Make>
  Lease take(Make&& make) {
    {
      std::lock_guard lock(mutex_);
      if (!idle_.empty()) {
        auto context = std::move(idle_.back());
        idle_.pop_back();
        return {*this, std::move(context)};
      }
    }
    return {*this, std::make_unique<Context>(make())};
  }

 private:
  std::mutex mutex_;  // guards idle_
  std::vector<std::unique_ptr<Context>> idle_;
};

}  // namespace platform
