// What queues, the dispatcher and the main run loop cost, next to the least that does the same and to other libraries.
//
//   bench_dispatch [--short] [--rounds N]
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

#include "support/report.h"

namespace {

using Clock = std::chrono::steady_clock;
using jv::bench::Measure;
using jv::bench::Subject;
using jv::bench::Who;
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

void compareThroughput(const Subject& subject, int producers, std::size_t pieces, int rounds) {
  BareQueue::Pool pool;
  BareQueue bare(pool);
  const DispatchQueue queue = DispatchQueue::create();
  Measure strandPost, contextInvoke, queuedCall;
#ifdef WITH_ASIO
  asio::thread_pool asioPool(2);
  auto strand = asio::make_strand(asioPool);
  strandPost = [&] { return throughput(producers, pieces, [&](auto work) { asio::post(strand, work); }); };
#endif
#ifdef WITH_GLIB
  GLibThread glib;
  contextInvoke = [&] { return throughput(producers, pieces / 10, [&](auto work) { glib.post(work); }); };
#endif
#ifdef WITH_QT
  QThread thread;
  QObject receiver;
  receiver.moveToThread(&thread);
  thread.start();
  queuedCall = [&] {
    return throughput(producers, pieces / 10,
                      [&](auto work) { QMetaObject::invokeMethod(&receiver, work, Qt::QueuedConnection); });
  };
#endif
  subject.compare(std::to_string(producers) + (producers == 1 ? " producer" : " producers"),
                  {
                      {Who::kFloor, "bare queue on two threads",
                       [&] { return throughput(producers, pieces, [&](auto work) { bare.post(work); }); }},
                      {Who::kOurs, "DispatchQueue",
                       [&] { return throughput(producers, pieces, [&](auto work) { queue.async(work); }); }},
                      {Who::kPeer, "Asio strand", strandPost},
                      {Who::kPeer, "GMainContext", contextInvoke},
                      {Who::kPeer, "Qt queued call", queuedCall},
                  },
                  rounds);
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

void comparePingPong(const Subject& subject, std::size_t count, int rounds) {
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
  Measure strandPost;
#ifdef WITH_ASIO
  asio::thread_pool asioPool(2);
  asio::strand<asio::thread_pool::executor_type> strands[2] = {asio::make_strand(asioPool),
                                                               asio::make_strand(asioPool)};
  strandPost = [&] { return pingPong([&](std::size_t to, auto work) { asio::post(strands[to], work); }); };
#endif
  subject.compare("two that hand over",
                  {
                      {Who::kFloor, "bare queue on two threads",
                       [&] { return pingPong([&](std::size_t to, auto work) { bare[to].post(work); }); }},
                      {Who::kOurs, "DispatchQueue",
                       [&] { return pingPong([&](std::size_t to, auto work) { queues[to].async(work); }); }},
                      {Who::kPeer, "Asio strand", strandPost},
                  },
                  rounds);
#ifdef WITH_ASIO
  asioPool.join();
#endif
}

// ---------------------------------------------------------------------------------------------------------------------
// The main loop: another thread hands a piece to the main thread, which waits, and gets an answer.

void compareMainLoop(std::size_t count, int rounds) {
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
  const Subject subject("The main run loop", "ns a piece");
  subject.compare("to it and back, waiting",
                  {
                      {Who::kFloor, "poll on an eventfd",
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
                      {Who::kOurs, "NSRunLoop::run",
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
                      {Who::kOurs, "foreign poll and NSRunLoop::drain",
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

  std::mutex mutex;
  std::vector<std::function<void()>> pieces;
  const std::size_t burst = 10 * count;
  subject.compare("a burst to it",
                  {
                      {Who::kFloor, "vector of functions, mutex",
                       [&] {
                         return nanosecondsFor(burst, [&] {
                           for (std::size_t i = 0; i < burst; ++i) {
                             const std::lock_guard lock(mutex);
                             pieces.emplace_back([&served] { ++served; });
                           }
                           for (const auto& piece : pieces) piece();
                           pieces.clear();
                         });
                       }},
                      {Who::kOurs, "async and drain",
                       [&] {
                         return nanosecondsFor(burst, [&] {
                           for (std::size_t i = 0; i < burst; ++i) mainQueue.async([&served] { ++served; });
                           loop.drain();
                         });
                       }},
                  },
                  rounds);
}

// ---------------------------------------------------------------------------------------------------------------------

void compareFlag(std::size_t count, int rounds) {
  const JVDispatch dispatcher("flag");
  std::atomic<int> word = 0;
  std::size_t stopped = 0;
  Subject("The stop flag", "ns")
      .compare("asking for it",
               {
                   {Who::kFloor, "one atomic exchange",
                    [&] {
                      return nanosecondsFor(count, [&] {
                        for (std::size_t i = 0; i < count; ++i) stopped += word.exchange(1) != 0;
                      });
                    }},
                   {Who::kOurs, "JVDispatch::isStopped",
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
    std::printf("%s- An idle dispatcher, %s: %zu bytes with object, queue and flag.\n", labelled ? "" : "\n",
                labelled ? "labelled" : "no label", each);
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
  const Subject queues("Serial queues", "ns a piece");
  compareThroughput(queues, 1, 20'000 * scale, rounds);
  compareThroughput(queues, 2, 20'000 * scale, rounds);
  comparePingPong(queues, 500 * scale, rounds);
  compareMainLoop(1'000 * scale, rounds);
  compareFlag(100'000 * scale, rounds);
  measureIdleDispatchers();
}
