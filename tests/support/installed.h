/// A platform interface's implementation for the length of a test.
#pragma once

#include <memory>
#include <utility>

namespace jvtest {

/// Makes a @p Fake, puts it in use by @p install, and brings back the one before at the end of the scope.
template <class Fake, auto install>
class Installed {
 public:
  template <class... Arguments>
  explicit Installed(Arguments&&... arguments)
      : fake_(std::make_shared<Fake>(std::forward<Arguments>(arguments)...)), before_(install(fake_)) {}
  Installed(const Installed&) = delete;
  Installed& operator=(const Installed&) = delete;
  ~Installed() { install(std::move(before_)); }

  Fake* operator->() const { return fake_.get(); }
  Fake& operator*() const { return *fake_; }

 private:
  std::shared_ptr<Fake> fake_;
  decltype(install(nullptr)) before_;
};

}  // namespace jvtest
