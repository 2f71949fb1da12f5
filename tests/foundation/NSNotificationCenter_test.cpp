#include <JorvaneFoundation/foundation/NSNotificationCenter.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

using JVFoundation::NSNotification;
using JVFoundation::NSNotificationCenter;
using Token = NSNotificationCenter::Token;

namespace {

TEST(NSNotificationCenter, TellsObserversByNameAndObject) {
  NSNotificationCenter center;
  const int a = 0;
  const int b = 0;
  std::string log;
  const auto observe = [&](char letter, std::optional<std::string_view> name, const void* object) {
    return center.addObserver(name, object, [&log, letter](const NSNotification&) { log += letter; });
  };
  const Token tokens[] = {observe('*', std::nullopt, nullptr), observe('n', "changed", nullptr),
                          observe('a', std::nullopt, &a), observe('b', "changed", &b)};
  for (const auto& [name, object, told] : {std::tuple<const char*, const void*, const char*>{"changed", &a, "*na"},
                                           {"changed", &b, "*nb"},
                                           {"changed", nullptr, "*n"},
                                           {"chang", &a, "*a"}}) {
    log.clear();
    center.post(name, object);
    EXPECT_EQ(log, told);
  }
}

// The first of three observers does something to the list while it is told.
TEST(NSNotificationCenter, LetsObserversChangeTheListWhileTheyAreTold) {
  NSNotificationCenter center;
  std::vector<Token> tokens;
  std::string log;
  const auto observe = [&](char letter, std::function<void()> action) {
    tokens.push_back(center.addObserver("n", nullptr, [&log, letter, action](const NSNotification&) {
      log += letter;
      action();
    }));
  };
  const struct {
    const char* why;
    std::function<void()> action;
    const char* expected;  // of two posts
  } cases[] = {
      {"removes itself", [&] { tokens[0] = Token(); }, "abc bc "},
      {"removes all", [&] { tokens.clear(); }, "a  "},
      {"adds one, which is told from the next time on",
       [&] {
         if (tokens.size() == 3) observe('d', [] {});
       },
       "abc abcd "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    tokens.clear();
    log.clear();
    observe('a', c.action);
    observe('b', [] {});
    observe('c', [] {});
    for (int i = 0; i < 2; ++i) {
      center.post("n");
      log += ' ';
    }
    EXPECT_EQ(log, c.expected);
  }
}

TEST(NSNotificationCenterToken, RemovesOnceAndMayOutliveTheCentre) {
  int told = 0;
  auto center = std::make_unique<NSNotificationCenter>();
  Token token = center->addObserver("n", nullptr, [&](const NSNotification&) { ++told; });
  Token moved = std::move(token);
  token = Token();
  center->post("n");
  EXPECT_EQ(told, 1);
  moved = center->addObserver("n", nullptr, [](const NSNotification&) {});  // the one before goes
  center->post("n");
  EXPECT_EQ(told, 1);
  center.reset();
}

// A handler that removes what it holds runs the token's end inside the observer's own end.
TEST(NSNotificationCenterToken, MayDieWithAnotherObserversHandler) {
  NSNotificationCenter center;
  int told = 0;
  auto inner = std::make_shared<Token>(center.addObserver("n", nullptr, [&](const NSNotification&) { ++told; }));
  Token outer = center.addObserver("n", nullptr, [inner](const NSNotification&) {});
  inner.reset();
  outer = Token();
  center.post("n");
  EXPECT_EQ(told, 0);
}

TEST(NSNotificationCenter, StandsManyThreads) {
  NSNotificationCenter center;
  std::atomic<int> told = 0;
  const Token always = center.addObserver("n", nullptr, [&](const NSNotification&) { ++told; });
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 2'000; ++round) {
        const Token token = center.addObserver("n", nullptr, [](const NSNotification&) {});
        center.post("n");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(told, 8'000);
}

}  // namespace
