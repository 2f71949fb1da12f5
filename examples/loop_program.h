// What the loop examples have in common: a program that works in the background and on the main thread, and does not
// know which loop it runs in.
#pragma once

#include <JorvaneFoundation/dispatch/JVDispatch.h>
#include <JorvaneFoundation/dispatch/NSRunLoop.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <utility>

/// After a moment adds up numbers in the background, shows the sum on the main thread and calls @p finish there.
inline void startProgram(std::function<void()> finish) {
  using JVFoundation::NSRunLoop;
  NSRunLoop::mainRunLoop().addTimer(std::chrono::milliseconds(10), [finish = std::move(finish)] {
    std::puts(NSRunLoop::isMainThread() ? "timer on the main thread" : "timer elsewhere");

    JVDispatch adder("adder");
    const auto sum = std::make_shared<std::uint64_t>(0);
    adder.dispatchHandler(
        [adder, sum] {
          for (std::uint64_t i = 1; i <= 100'000 && !adder.isStopped(); ++i) *sum += i;
        },
        [sum, finish] {
          std::printf("sum %llu on the %s thread\n", static_cast<unsigned long long>(*sum),
                      NSRunLoop::isMainThread() ? "main" : "wrong");
          finish();
        });
  });
}
