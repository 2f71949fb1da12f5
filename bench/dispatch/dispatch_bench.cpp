// What queues, the dispatcher and the main run loop cost, next to the least that does the same and to other libraries.
// The candidates take turns, so that whatever else the machine does strikes all of them; a row is the median and the
// best time, each with its ratio to the first row's.
//
//   bench_dispatch [--short] [--rounds N]
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include <malloc.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#ifdef WITH_ASIO
#include <asio.hpp>
#endif
#ifdef WITH_GLIB
#include <glib.h>
#endif
#ifdef WITH_QT
#include <QCoreApplication>
#include <QThread>
#endif

#include <JorvaneFoundation/dispatch/DispatchQueue.h>
#include <JorvaneFoundation/dispatch/JVDispatch.h>
#include <JorvaneFoundation/dispatch/NSRunLoop.h>

namespace {

using Clock = std::chrono::steady_clock;
using JVFoundation::DispatchQueue;
using JVFoundation::NSRunLoop;

// ---------------------------------------------------------------------------------------------------------------------
// The floor: a lock-free queue with many producers, whose consumer is one of two threads that a list under a mutex
// hands out. Nothing else: no names, no values, no fairness, no growth.

class BareQueue {
 public:
  class Pool {
   public:
    Pool() {
      for (std::thread& thread : threads_) thread = std::thread([this] { work(); });
    }
    ~Pool() {
      add(nullptr);
      for (std::thread& thread : threads_) thread.join();
    }
    void add(BareQueue* queue) {
      {
        const std::lock_guard lock(mutex_);
        ready_.push_back(queue);
      }
      wake_.notify_one();
    }

   private:
    void work() {
      for (;;) {
        std::unique_lock lock(mutex_);
        wake_.wait(lock, [this] { return !ready_.empty(); });
        BareQueue* const queue = ready_.front();
        if (!queue) {
          wake_.notify_one();
          return;
        }
        ready_.pop_front();
        lock.unlock();
        queue->run();
      }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<BareQueue*> ready_;
    std::thread threads_[2];
  };

  explicit BareQueue(Pool& pool) : pool_(pool) {}

  template <class Work>
  void post(Work work) {
    struct Holder : Node {
      explicit Holder(Work given) : Node{act}, held(std::move(given)) {}
      static void act(Node* node, bool run) {
        if (run) {
          static_cast<Holder*>(node)->held();
        } else {
          delete static_cast<Holder*>(node);
        }
      }
      Work held;
    };
    Node* const node = new Holder(std::move(work));
    if (Node* const before = newest_.exchange(node)) {
      before->next.store(node, std::memory_order_release);
    } else {
      oldest_ = node;
      pool_.add(this);
    }
  }

 private:
  struct Node {
    void (*act)(Node*, bool run);
    std::atomic<Node*> next{nullptr};
  };

  void run() {
    for (Node* node = oldest_;;) {
      node->act(node, true);
      Node* next = node->next.load(std::memory_order_acquire);
      if (!next) {
        Node* expected = node;
        if (newest_.compare_exchange_strong(expected, nullptr)) {
          node->act(node, false);
          return;
        }
        while (!(next = node->next.load(std::memory_order_acquire))) {
        }
      }
      node->act(node, false);
      node = next;
    }
  }

  Pool& pool_;
  std::atomic<Node*> newest_{nullptr};
  Node* oldest_ = nullptr;
};

// ---------------------------------------------------------------------------------------------------------------------

/// One way of doing a thing; `run` returns nanoseconds for one.
struct Candidate {
  const char* name;
  std::function<double()> run;
};

double median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

void compare(const char* title, const std::vector<Candidate>& candidates, int rounds) {
  std::printf("%s\n", title);
  std::vector<std::vector<double>> times(candidates.size());
  for (int round = 0; round <= rounds; ++round) {
    for (std::size_t i = 0; i < candidates.size(); ++i) {
      const double time = candidates[i].run();
      if (round > 0) times[i].push_back(time);  // the first one warms up
    }
  }
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    const double best = std::ranges::min(times[i]);
    std::printf("  %-34s %9.1f ns %6.2f x   best %9.1f ns %6.2f x\n", candidates[i].name, median(times[i]),
                median(times[i]) / median(times[0]), best, best / std::ranges::min(times[0]));
  }
  std::fflush(stdout);
}

template <class Work>
double nanosecondsFor(std::size_t count, Work work) {
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / static_cast<double>(count);
}

// ---------------------------------------------------------------------------------------------------------------------
// Throughput: producers post as fast as they can until all pieces have run.

/// @param post  posts a piece that counts down and tells when it was the last.
template <class Post>
double throughput(int producers, std::size_t pieces, Post post) {
  std::size_t left = pieces;  // the queue keeps the pieces apart
  std::binary_semaphore done(0);
  const auto produce = [&] {
    for (std::size_t i = 0; i < pieces / static_cast<std::size_t>(producers); ++i) {
      post([&left, &done] {
        if (--left == 0) done.release();
      });
    }
  };
  return nanosecondsFor(pieces, [&] {
    std::vector<std::thread> others;
    for (int i = 1; i < producers; ++i) others.emplace_back(produce);
    produce();
    done.acquire();
    for (std::thread& other : others) other.join();
  });
}

#ifdef WITH_GLIB
class GLibThread {
 public:
  GLibThread() : thread_([this] { g_main_loop_run(loop_); }) {}
  ~GLibThread() {
    post([this] { g_main_loop_quit(loop_); });
    thread_.join();
    g_main_loop_unref(loop_);
    g_main_context_unref(context_);
  }
  template <class Work>
  void post(Work work) {
    g_main_context_invoke_full(
        context_, G_PRIORITY_DEFAULT,
        [](void* held) -> gboolean {
          (*static_cast<Work*>(held))();
          return G_SOURCE_REMOVE;
        },
        new Work(std::move(work)), [](void* held) { delete static_cast<Work*>(held); });
  }

 private:
  GMainContext* context_ = g_main_context_new();
  GMainLoop* loop_ = g_main_loop_new(context_, FALSE);
  std::thread thread_;
};
#endif

void compareThroughput(int producers, std::size_t pieces, int rounds) {
  BareQueue::Pool pool;
  BareQueue bare(pool);
  const DispatchQueue queue = DispatchQueue::create();
  std::vector<Candidate> candidates = {
      {"floor: bare queue on two threads",
       [&] { return throughput(producers, pieces, [&](auto work) { bare.post(work); }); }},
      {"DispatchQueue", [&] { return throughput(producers, pieces, [&](auto work) { queue.async(work); }); }},
  };
#ifdef WITH_ASIO
  asio::thread_pool asioPool(2);
  auto strand = asio::make_strand(asioPool);
  candidates.push_back(
      {"Asio strand", [&] { return throughput(producers, pieces, [&](auto work) { asio::post(strand, work); }); }});
#endif
#ifdef WITH_GLIB
  GLibThread glib;
  candidates.push_back(
      {"GMainContext", [&] { return throughput(producers, pieces / 10, [&](auto work) { glib.post(work); }); }});
#endif
#ifdef WITH_QT
  QThread thread;
  QObject receiver;
  receiver.moveToThread(&thread);
  thread.start();
  candidates.push_back({"Qt queued call", [&] {
                          return throughput(producers, pieces / 10, [&](auto work) {
                            QMetaObject::invokeMethod(&receiver, work, Qt::QueuedConnection);
                          });
                        }});
#endif
  const std::string title = "serial queue, throughput, " + std::to_string(producers) + " producer(s), per piece";
  compare(title.c_str(), candidates, rounds);
#ifdef WITH_QT
  thread.quit();
  thread.wait();
#endif
#ifdef WITH_ASIO
  asioPool.join();
#endif
}

// ---------------------------------------------------------------------------------------------------------------------
// Hand-over: a piece starts the next one, on another queue and back.

void comparePingPong(std::size_t count, int rounds) {
  BareQueue::Pool pool;
  BareQueue bare[2] = {BareQueue(pool), BareQueue(pool)};
  const DispatchQueue queues[2] = {DispatchQueue::create(), DispatchQueue::create()};
  const auto pingPong = [count](auto post) {
    struct Game {
      decltype(post)& postTo;
      std::size_t left;
      std::binary_semaphore done{0};
      void play() {
        if (left-- == 0) {
          done.release();
        } else {
          postTo(left % 2, [this] { play(); });
        }
      }
    } game{post, count};
    return nanosecondsFor(count, [&] {
      game.play();
      game.done.acquire();
    });
  };
  std::vector<Candidate> candidates = {
      {"floor: bare queue on two threads",
       [&] { return pingPong([&](std::size_t to, auto work) { bare[to].post(work); }); }},
      {"DispatchQueue", [&] { return pingPong([&](std::size_t to, auto work) { queues[to].async(work); }); }},
  };
#ifdef WITH_ASIO
  asio::thread_pool asioPool(2);
  asio::strand<asio::thread_pool::executor_type> strands[2] = {asio::make_strand(asioPool),
                                                               asio::make_strand(asioPool)};
  candidates.push_back(
      {"Asio strand", [&] { return pingPong([&](std::size_t to, auto work) { asio::post(strands[to], work); }); }});
#endif
  compare("two queues that hand over to each other, per piece", candidates, rounds);
#ifdef WITH_ASIO
  asioPool.join();
#endif
}

// ---------------------------------------------------------------------------------------------------------------------
// The main loop: another thread hands a piece to the main thread, which waits, and gets an answer.

void compareHandOver(std::size_t count, int rounds) {
  std::binary_semaphore answered(0);
  // The thread that asks, beside whatever the main thread does.
  const auto ask = [&](auto post, auto serve) {
    return nanosecondsFor(count, [&] {
      std::thread asking([&] {
        for (std::size_t i = 0; i < count; ++i) {
          post();
          answered.acquire();
        }
      });
      serve();
      asking.join();
    });
  };
  const int wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  NSRunLoop& loop = NSRunLoop::mainRunLoop();
  const DispatchQueue mainQueue = DispatchQueue::mainQueue();
  const auto waitFor = [](int descriptor) {
    pollfd wanted{descriptor, POLLIN, 0};
    ::poll(&wanted, 1, -1);
  };
  std::size_t served = 0;
  compare("hand-over to the waiting main thread and back",
          {
              {"floor: poll on an eventfd",
               [&] {
                 return ask([&] { eventfd_write(wake, 1); },
                            [&] {
                              for (std::size_t i = 0; i < count; ++i) {
                                waitFor(wake);
                                eventfd_t value;
                                eventfd_read(wake, &value);
                                answered.release();
                              }
                            });
               }},
              {"NSRunLoop::run",
               [&] {
                 served = 0;
                 return ask(
                     [&] {
                       mainQueue.async([&] {
                         answered.release();
                         if (++served == count) loop.stop();
                       });
                     },
                     [&] { loop.run(); });
               }},
              {"foreign poll and NSRunLoop::drain",
               [&] {
                 served = 0;
                 return ask(
                     [&] {
                       mainQueue.async([&] {
                         answered.release();
                         ++served;
                       });
                     },
                     [&] {
                       while (served < count) {
                         waitFor(loop.fileDescriptor());
                         loop.drain();
                       }
                     });
               }},
          },
          rounds);
  close(wake);

  compare("main queue, a burst, per piece",
          {{"async and drain",
            [&] {
              return nanosecondsFor(count * 10, [&] {
                for (std::size_t i = 0; i < count * 10; ++i) mainQueue.async([&served] { ++served; });
                loop.drain();
              });
            }}},
          rounds);
}

// ---------------------------------------------------------------------------------------------------------------------

void compareFlag(std::size_t count, int rounds) {
  const JVDispatch dispatcher("flag");
  std::atomic<int> word = 0;
  std::size_t stopped = 0;
  compare("asking for the flag",
          {
              {"floor: one atomic exchange",
               [&] {
                 return nanosecondsFor(count, [&] {
                   for (std::size_t i = 0; i < count; ++i) stopped += word.exchange(1) != 0;
                 });
               }},
              {"JVDispatch::isStopped",
               [&] {
                 return nanosecondsFor(count, [&] {
                   for (std::size_t i = 0; i < count; ++i) stopped += dispatcher.isStopped();
                 });
               }},
          },
          rounds);
}

void measureIdleDispatchers() {
  constexpr std::size_t kCount = 10'000;
  for (const bool labelled : {false, true}) {
    std::vector<JVDispatch> dispatchers;
    dispatchers.reserve(kCount);
    const std::size_t before = mallinfo2().uordblks;
    for (std::size_t i = 0; i < kCount; ++i) {
      dispatchers.emplace_back(labelled ? std::optional<std::string_view>("search") : std::nullopt);
    }
    const std::size_t each = (mallinfo2().uordblks - before) / kCount + sizeof(JVDispatch);
    std::printf("idle dispatcher, %s: %zu bytes with object, queue and flag\n", labelled ? "labelled" : "no label",
                each);
  }
}

}  // namespace

int main(int argc, char** argv) {
  int rounds = 15;
  std::size_t scale = 10;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--short") == 0) {
      rounds = 3;
      scale = 1;
    } else if (std::strcmp(argv[i], "--rounds") == 0 && i + 1 < argc) {
      rounds = std::atoi(argv[++i]);
    }
  }
#ifdef WITH_QT
  const QCoreApplication application(argc, argv);
#endif
  measureIdleDispatchers();
  compareFlag(100'000 * scale, rounds);
  compareThroughput(1, 20'000 * scale, rounds);
  compareThroughput(2, 20'000 * scale, rounds);
  comparePingPong(500 * scale, rounds);
  compareHandOver(1'000 * scale, rounds);
}
