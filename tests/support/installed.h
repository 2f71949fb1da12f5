/// A platform interface's implementation for the length of a test.
#pragma once

#include <memory>
#include <utility>

namespace jvtest {

/// Puts an implementation in use by @p install, and brings back the one before at the end of the scope.
template <auto install>
class InUse {
 public:
  using Implementation = decltype(install(nullptr));

  explicit InUse(Implementation implementation) : before_(install(std::move(implementation))) {}
  InUse(const InUse&) = delete;
  InUse& operator=(const InUse&) = delete;
  ~InUse() { install(std::move(before_)); }

 private:
  Implementation before_;
};

/// Makes a @p Fake and puts it in use.
template <class Fake, auto install>
class Installed {
 public:
  template <class... Arguments>
  explicit Installed(Arguments&&... arguments) : fake_(std::make_shared<Fake>(std::forward<Arguments>(arguments)...)) {}

  Fake* operator->() const { return fake_.get(); }
  Fake& operator*() const { return *fake_; }

 private:
  std::shared_ptr<Fake> fake_;
  InUse<install> inUse_{fake_};
};

}  // namespace jvtest
