#include <JorvaneFoundation/foundation/NSNotificationCenter.h>

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using JVFoundation::NSNotification;
using JVFoundation::NSNotificationCenter;
using Token = NSNotificationCenter::Token;

namespace {

TEST(NSNotificationCenter, TellsObserversByNameAndObject) {
  NSNotificationCenter center;
  const int a = 0;
  const int b = 0;
  const struct {
    const char* why;
    std::optional<std::string_view> name;
    const void* object;
    int expected;  // of the four posts below
  } cases[] = {
      {"everything", std::nullopt, nullptr, 4}, {"a name", "changed", nullptr, 3},
      {"an object", std::nullopt, &a, 2},       {"both", "changed", &a, 1},
      {"the other object", "changed", &b, 1},   {"nobody posts that", "chang", nullptr, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    int told = 0;
    const Token token = center.addObserver(c.name, c.object, [&](const NSNotification& notification) {
      ++told;
      EXPECT_EQ(notification.name, c.name.value_or(notification.name));
      EXPECT_EQ(notification.object, c.object ? c.object : notification.object);
    });
    center.post("changed", &a);
    center.post("changed", &b);
    center.post("changed");
    center.post(std::string("renamed"), &a);
    EXPECT_EQ(told, c.expected);
  }
  EXPECT_EQ(&NSNotificationCenter::defaultCenter(), &NSNotificationCenter::defaultCenter());
}

TEST(NSNotificationCenter, TellsInOrderOnTheThreadThatPosts) {
  NSNotificationCenter center;
  std::string log;
  std::thread::id toldOn;
  const Token first = center.addObserver("n", nullptr, [&](const NSNotification&) { log += 'a'; });
  const Token second = center.addObserver("n", nullptr, [&](const NSNotification&) {
    log += 'b';
    toldOn = std::this_thread::get_id();
  });
  std::thread::id postedOn;
  std::thread([&] {
    postedOn = std::this_thread::get_id();
    center.post("n");
  }).join();
  EXPECT_EQ(log, "ab");
  EXPECT_EQ(toldOn, postedOn);
}

// The first of three observers does something to the list while it is told.
TEST(NSNotificationCenter, LetsObserversChangeTheListWhileTheyAreTold) {
  struct Setting {
    NSNotificationCenter center;
    std::vector<Token> tokens;
    std::string log;
    void observe(char letter, std::function<void()> action) {
      tokens.push_back(center.addObserver("n", nullptr, [this, letter, action](const NSNotification&) {
        log += letter;
        action();
      }));
    }
    std::string logOfPost() {
      log.clear();
      center.post("n");
      return log;
    }
  };
  const struct {
    const char* why;
    std::function<void(Setting&)> action;
    const char* first;
    const char* second;
  } cases[] = {
      {"removes itself", [](Setting& s) { s.tokens[0] = Token(); }, "abc", "bc"},
      {"removes one before its turn", [](Setting& s) { s.tokens[1] = Token(); }, "ac", "ac"},
      {"removes all", [](Setting& s) { s.tokens.clear(); }, "a", ""},
      {"adds one, which is told from the next time on",
       [](Setting& s) {
         if (s.tokens.size() == 3) s.observe('d', [] {});
       },
       "abc", "abcd"},
      {"posts another",
       [](Setting& s) {
         if (s.log.size() == 1) s.center.post("n");
       },
       "aabcbc", "aabcbc"},
      {"posts a name that nobody observes", [](Setting& s) { s.center.post("m"); }, "abc", "abc"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    Setting setting;
    setting.observe('a', [&] { c.action(setting); });
    setting.observe('b', [] {});
    setting.observe('c', [] {});
    EXPECT_EQ(setting.logOfPost(), c.first);
    EXPECT_EQ(setting.logOfPost(), c.second);
  }
}

TEST(NSNotificationCenter, HandsExceptionsToThePoster) {
  NSNotificationCenter center;
  int told = 0;
  const Token fails = center.addObserver("n", nullptr, [](const NSNotification&) { throw std::runtime_error("no"); });
  const Token after = center.addObserver(std::nullopt, nullptr, [&](const NSNotification&) { ++told; });
  EXPECT_THROW(center.post("n"), std::runtime_error);
  center.post("m");
  EXPECT_EQ(told, 1);
}

TEST(NSNotificationCenterToken, RemovesOnceAndMayOutliveTheCentre) {
  int told = 0;
  auto center = std::make_unique<NSNotificationCenter>();
  const auto count = [&](const NSNotification&) { ++told; };
  Token moved;
  {
    Token token = center->addObserver("n", nullptr, count);
    moved = std::move(token);
  }
  center->post("n");
  EXPECT_EQ(told, 1);
  moved = center->addObserver("n", nullptr, count);  // the one before goes
  Token& same = moved;
  moved = std::move(same);
  center->post("n");
  EXPECT_EQ(told, 2);
  center.reset();
  moved = Token();
}

// A handler that removes what it holds runs the token's end inside the observer's own end.
TEST(NSNotificationCenterToken, MayDieWithAnotherObserversHandler) {
  NSNotificationCenter center;
  int told = 0;
  auto inner = std::make_shared<Token>(center.addObserver("n", nullptr, [&](const NSNotification&) { ++told; }));
  Token outer = center.addObserver("n", nullptr, [inner](const NSNotification&) {});
  inner.reset();
  center.post("n");
  outer = Token();
  center.post("n");
  EXPECT_EQ(told, 1);
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
