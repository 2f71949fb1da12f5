/// All streams of the process, fed by one thread from one inotify instance, and from one of fanotify for large trees
/// where the program has the right to it.
///
/// The tree of folders is kept in step with the disk by one rule: an event says where to look, never what is there.
/// Whatever is looked at is looked at in the open folder that it is in, and a folder is known by the number of its
/// watch, which the kernel gives out once for each. So it does not matter in which order events are read, or whether
/// the disk has moved on since: the last change of a name is followed by an event, and the look behind that is right.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/EventPoll.h"
#include "platform/linux/event_stream/Fanotify.h"
#include "platform/linux/event_stream/Folder.h"
#include "platform/linux/event_stream/Kernel.h"
#include "platform/linux/event_stream/Mounts.h"
#include "platform/linux/event_stream/Stream.h"
#include "platform/linux/event_stream/Tree.h"

namespace jv::watching {

class Group : public std::enable_shared_from_this<Group> {
 public:
  /// Watches what @p stream wants, from the return on. False when there is no thread for it. Any thread but the
  /// group's.
  static bool join(const std::shared_ptr<Stream>& stream);
  /// Stops feeding @p stream, soon. Any thread.
  static void leave(const std::shared_ptr<Stream>& stream);

  Group();
  ~Group();
  Group(const Group&) = delete;
  Group& operator=(const Group&) = delete;

 private:
  using Lock = std::unique_lock<std::mutex>;

  /// What is done with the folders and files that a scan finds.
  enum class Mode : std::uint8_t {
    quiet,  ///< new folders are taken in
    check,  ///< the same; what is in new ones is reported
    look,   ///< the same, and what has changed of late is reported
    sweep,  ///< the same, in all folders below as well
    all,    ///< everything is reported
  };
  /// A scan: one or many folders with all that is below them.
  struct Job {
    FolderId top = kNoFolder;  // where it begins; none: in many places
    std::uint64_t joined = 0;  // streams that had joined when it began: to others it tells nothing
    Stamp since;
    std::size_t open = 0;                           // items that are not done
    std::vector<std::function<void()>> whenDone{};  // called under the lock
  };
  struct Item {
    FolderId folder;
    Mode mode;
    std::shared_ptr<Job> job;
  };
  struct Child {
    FolderId folder;
    Mode mode;
  };
  struct Frame {
    Descriptor descriptor;
    FolderId folder;
    std::vector<Child> children;
  };
  struct Walk;
  struct Visit;

  // ------------------------------------------------------------------------------------------------- Group.cpp
  struct Order {
    std::shared_ptr<Stream> stream;
    bool joins;
  };
  static constexpr std::uint64_t kKernelToken = EventPoll::kFirstToken;
  static constexpr std::uint64_t kMountsToken = kKernelToken + 1;
  static constexpr std::uint64_t kWideToken = kKernelToken + 2;

  void run();
  void round();
  void takeOrders();
  void takeIn(const std::shared_ptr<Stream>& stream);
  void letGo(const std::shared_ptr<Stream>& stream);
  void deliver();
  static void call(const std::shared_ptr<Group>& group, const std::shared_ptr<Stream>& stream,
                   const std::vector<std::string>& paths);
  void planNextRound();
  void wakeAt(Clock::time_point time);

  // ------------------------------------------------------------------------------------------- GroupEvents.cpp
  /// Where the changes in a folder are told.
  struct Target {
    Stream* stream;
    std::string path;  // of the folder, as the stream's client spells it
  };

  bool readEvents();
  void handle(const Event& event);
  void handleIn(FolderId folder, const Event& event);
  void reconcile(FolderId folder, std::string_view name);
  std::vector<Target> targetsOf(FolderId folder) const;
  void report(FolderId folder, std::string_view name);
  void add(Stream& stream, std::string_view path);
  void mountsChanged();
  void lookAtMount(const std::string& place, bool isNews);

  // ------------------------------------------------------------------------------------------- GroupPlaces.cpp
  struct Settled {
    FolderId folder;
    bool isNew;  // it has to be read
  };

  bool standIn(FolderId folder);
  Settled settle(FolderId parent, std::string_view name, int watch, int parentDescriptor);
  FolderId claim(int watch, FolderId parent, std::string_view name, int parentDescriptor);
  void abandon(FolderId folder);
  void doom(FolderId folder);
  void forget(FolderId folder);
  void forgetSome();
  void unwatch(FolderId folder);
  void lookAfterLost();
  void expireDetached();
  void tidy(const std::vector<FolderId>& folders);
  void leaveInside(FolderId folder);
  [[nodiscard]] bool isCovered(FolderId folder) const;
  void cannotWatch(FolderId folder, int error);

  // -------------------------------------------------------------------------------------------- GroupRoots.cpp
  struct Way;

  void resolve(Root& root, const std::shared_ptr<Job>& first);
  void follow(const Root& root, Way& way);
  void watchInside(const Root& root, const Way& way, const std::shared_ptr<Job>& first);
  void leaveChain(Root& root, const Root& before);
  void leaveFolder(Root& root);
  void detachRoot(Root& root);
  void disturbRoot(Root& root);
  void disturb(FolderId folder, std::string_view name);
  void disturbAll(FolderId folder);
  void resolveDirty();
  void reportRoot(const Root& root, Root::Kind before);

  // --------------------------------------------------------------------------------------------- GroupScan.cpp
  void scan(FolderId folder, Mode mode, const std::shared_ptr<Job>& job = nullptr);
  std::shared_ptr<Job> newJob(FolderId top);
  void done(const std::shared_ptr<Job>& job);
  void waitForOthers(const Root& root, const std::shared_ptr<Job>& job);
  void scanSome();
  void walkers();
  bool step(Walk& walk);
  void finish(Walk& walk);
  bool begin(Walk& walk);
  void donate(Walk& walk, bool everything);
  void startWalkers();
  void visit(Walk& walk, Child child, const Frame* parent);
  void readLater(FolderId folder, int error);
  Descriptor open(Child child, const Frame* parent);
  bool verify(Walk& walk, FolderId folder, int descriptor);
  void takeEntries(Visit& visit);
  void takeSome(Visit& visit, std::span<const Entry> entries);
  void reportEntry(const Visit& visit, const Entry& entry, bool isNew, const std::optional<Facts>& facts);
  std::optional<Child> takeFolder(Visit& visit, const char* name, bool& isNew);
  static bool isLeaf(const Visit& visit, Child child, const char* name, bool needsFiles);
  void aim(Visit& visit);
  void reportChange(const Visit& visit, Stamp changed, const char* name);
  void takeMissing(Visit& visit);

  // ----------------------------------------------------------------------------------------- GroupRecovery.cpp
  void overflowed();
  [[nodiscard]] bool canRecover() const;
  void recover();
  void lookAround();
  void recheck();
  void markStale(FolderId folder);

  // ------------------------------------------------------------------------------------------------- GroupWide.cpp
  /// A folder that is watched by its file system.
  struct Wide {
    std::string fileSystem;
    int mount = 0;
    std::vector<std::string> mounts{};  // that came below it, and because of which it is watched otherwise soon
  };
  /// A folder that is read with all that is below it.
  struct Survey {
    std::string path;
    std::uint64_t joined;  // as of a job
    Stamp since;
    Stamp changed;  // the folder itself, at the latest
  };

  bool widen(FolderId folder, const Stream& stream);
  void leaveWide(FolderId folder);
  void narrowAround(const std::string& place);
  std::vector<FolderId> takeNarrowed();
  void finishNarrowing(const std::vector<FolderId>& folders);
  void survey(const std::string& path, std::optional<Stamp> since = std::nullopt);
  void surveySome();
  bool surveyOne(const Survey& survey);

  // ------------------------------------------------------------------------------------------- GroupWideEvents.cpp
  struct WideTarget {
    Target target;
    bool isRoot;  // the folder itself is watched
  };
  struct WidePlace {
    std::string path;
    std::vector<WideTarget> targets;
  };
  struct WideReading;
  /// An event of a folder that has gone.
  struct Orphan {
    std::string event;
    int readsLeft = 64;
  };

  bool readWide();
  void openBases(WideReading& reading) const;
  bool handleWide(const WideEvent& event, WideReading& reading);
  const std::vector<WidePlace>* placesOf(std::string_view handle, WideReading& reading);
  std::vector<WideTarget> wideTargetsOf(std::string_view path) const;
  void tellWide(const WideEvent& event, const WidePlace& place);
  void overflowedWide();

  // ------------------------------------------------------------------------------------------------------- State
  Kernel kernel_;
  Fanotify fanotify_;
  EventPoll poll_;
  Mounts mounts_;
  std::atomic<bool> isRetired_{false};
  int members_ = 0;  // guarded by the process's lock

  // The group's thread.
  std::unique_ptr<Kernel::Buffer> events_ = std::make_unique_for_overwrite<Kernel::Buffer>();
  Standpoint* standpoint_ = nullptr;
  FolderId standing_ = kNoFolder;
  Descriptor standingIn_;
  bool isDrained_ = false;  // nothing was left to read when the kernel was asked last
  Moment lastDrained_;      // all events before it have been read
  Moment drainedBefore_;    // the same when the round began
  std::map<FolderId, Wide> wide_;
  std::vector<Orphan> orphans_;
  std::vector<Survey> surveys_;
  Clock::time_point surveyAt_;
  std::unique_ptr<Walk> own_;  // the scan that this thread does itself
  std::optional<Clock::time_point> alarm_;
  std::optional<Clock::time_point> nextRound_;
  bool isHurried_ = false;  // there is work left

  std::mutex mutex_;  // guards the rest
  std::condition_variable changed_;
  std::vector<Order> orders_;
  std::vector<std::shared_ptr<Stream>> streams_;
  std::vector<Stream*> waiting_;  // streams with something to deliver
  Tree tree_;
  std::uint64_t version_ = 0;  // of what targets depend on

  std::unordered_map<FolderId, std::vector<Root*>> rootsAt_;
  std::map<std::pair<FolderId, std::string>, std::vector<Root*>> interests_;
  std::vector<Root*> dirty_;
  std::unordered_set<Root*> polledRoots_;

  FolderId targetFolder_ = kNoFolder;  // whose targets these are
  std::uint64_t targetVersion_ = 0;
  std::vector<Target> targets_;

  std::unordered_map<FolderId, Clock::time_point> detached_;
  std::deque<std::pair<Clock::time_point, FolderId>> detachedOrder_;
  std::vector<FolderId> narrowed_;  // whose folders are all watched
  std::vector<FolderId> doomed_;
  std::vector<FolderId> lost_;  // their watch has ended
  std::set<FolderId> stale_;    // were not where they are said to be
  Clock::time_point staleAt_;
  Clock::duration staleDelay_{};
  std::unordered_set<FolderId> unwatched_;

  std::uint64_t joined_ = 0;  // streams so far
  std::unordered_set<std::shared_ptr<Job>> jobs_;
  std::vector<Item> items_;
  std::size_t walks_ = 0;    // that have an item in hand
  std::size_t walkers_ = 0;  // threads
  std::atomic<std::size_t> hungry_{0};

  std::optional<Moment> lostSince_;  // events were lost after it
  bool isRecovering_ = false;
  Clock::time_point recoverAt_;
  bool isLooking_ = false;
  Moment lookedAt_;
  Clock::time_point lookAt_;
};

}  // namespace jv::watching
