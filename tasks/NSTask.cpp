#include <JorvaneFoundation/tasks/NSTask.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

#include <JorvaneFoundation/dispatch/DispatchQueue.h>
#include <JorvaneFoundation/dispatch/NSOperationQueue.h>

#include "tasks/BackgroundRun.h"
#include "tasks/TaskRun.h"

namespace JVFoundation {
namespace {

using Arguments = std::vector<std::string>;
using Text = std::optional<std::string_view>;

const NSTask::Class& shared() {
  static const auto& methods = *new NSTask::Class;
  return methods;
}

Value dictionaryOf(jv::TaskResult result) {
  Dictionary dictionary{{"JVTaskStatus", result.status}};
  if (result.output) dictionary.set("JVTaskOutput", std::move(*result.output));
  if (result.error) dictionary.set("JVTaskError", std::move(*result.error));
  return dictionary;
}

/// Hands @p result over on the queue that is under @p replyQueue now, after the run.
void reply(const std::optional<NSOperationQueue>& replyQueue, NSTask::CompletionHandler handler,
           jv::TaskResult result) {
  const auto queue = replyQueue ? replyQueue->underlyingQueue() : std::nullopt;
  if (!queue) {
    std::fputs(
        "JorvaneFoundation: launchAsyncWithPath was called where no operation queue with an underlying queue runs: "
        "there is nobody to tell that the tool has ended\n",
        stderr);
    std::abort();
  }
  queue->async([handler = std::move(handler), result = std::move(result)]() mutable {
    handler(result.status, std::move(result.output), std::move(result.error));
  });
}

}  // namespace

NSTask::Class::~Class() = default;

Value NSTask::Class::launchSyncWithPath(std::string_view path, const Arguments& arguments) const {
  return launchSyncWithPath(path, arguments, std::nullopt);
}

Value NSTask::Class::launchSyncWithPath(std::string_view path, const Arguments& arguments, Text input) const {
  return launchSyncWithPath(path, arguments, input, std::nullopt);
}

Value NSTask::Class::launchSyncWithPath(std::string_view path, const Arguments& arguments, Text input,
                                        Text directory) const {
  return dictionaryOf(jv::runTask({path, arguments, input.value_or(""), directory}));
}

void NSTask::Class::launchAsyncWithPath(std::string_view path, const Arguments& arguments,
                                        CompletionHandler completionHandler) const {
  launchAsyncWithPath(path, arguments, std::nullopt, std::move(completionHandler));
}

void NSTask::Class::launchAsyncWithPath(std::string_view path, const Arguments& arguments, Text input,
                                        CompletionHandler completionHandler) const {
  launchAsyncWithPath(path, arguments, input, std::nullopt, std::move(completionHandler));
}

void NSTask::Class::launchAsyncWithPath(std::string_view path, const Arguments& arguments, Text input, Text directory,
                                        CompletionHandler completionHandler) const {
  jv::OwnedTaskRequest request{std::string(path), arguments, std::string(input.value_or("")), std::nullopt};
  if (directory) request.directory = *directory;
  jv::runTaskInBackground(std::move(request), [replyQueue = NSOperationQueue::currentQueue(),
                                               handler = std::move(completionHandler)](jv::TaskResult result) mutable {
    reply(replyQueue, std::move(handler), std::move(result));
  });
}

Value NSTask::launchSyncWithPath(std::string_view path, const Arguments& arguments) {
  return shared().launchSyncWithPath(path, arguments);
}

Value NSTask::launchSyncWithPath(std::string_view path, const Arguments& arguments, Text input) {
  return shared().launchSyncWithPath(path, arguments, input);
}

Value NSTask::launchSyncWithPath(std::string_view path, const Arguments& arguments, Text input, Text directory) {
  return shared().launchSyncWithPath(path, arguments, input, directory);
}

void NSTask::launchAsyncWithPath(std::string_view path, const Arguments& arguments,
                                 CompletionHandler completionHandler) {
  shared().launchAsyncWithPath(path, arguments, std::move(completionHandler));
}

void NSTask::launchAsyncWithPath(std::string_view path, const Arguments& arguments, Text input,
                                 CompletionHandler completionHandler) {
  shared().launchAsyncWithPath(path, arguments, input, std::move(completionHandler));
}

void NSTask::launchAsyncWithPath(std::string_view path, const Arguments& arguments, Text input, Text directory,
                                 CompletionHandler completionHandler) {
  shared().launchAsyncWithPath(path, arguments, input, directory, std::move(completionHandler));
}

}  // namespace JVFoundation
