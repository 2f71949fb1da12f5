// jv encoding: the encoding of each file.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <JorvaneFoundation/encoding/detection.h>

#include "arguments.h"
#include "commands.h"
#include "encoding_report.h"
#include "file_names.h"
#include "input.h"
#include "ordered_pool.h"
#include "output.h"
#include "progress.h"
#include "text_forms.h"

namespace jv {
namespace {

using JVFoundation::EncodingDetection;
using JVFoundation::EncodingDetectionOptions;
using JVFoundation::EncodingRule;

struct Options {
  std::vector<std::string> files;
  std::string filesFrom;
  bool recursive = false;
  bool json = false;
  bool lineBreaks = false;
  bool explain = false;
  unsigned threads = 1;
};

/// What is to be looked at.
struct Job {
  enum class Kind : std::uint8_t { file, standardInput, unreadable };
  Kind kind = Kind::file;
  std::string name;
  std::string reason;  ///< why it is unreadable, where that is known already
};

/// What there is to print.
struct Answer {
  std::string lines;
  std::string complaint;  ///< empty: none
};

/// Why @p name could not be read, as far as another try shows.
std::string reasonFor(const std::string& name) {
  std::error_code ignored;
  if (name.find('\0') != std::string::npos) return "no file has a zero byte in its name";
  if (std::filesystem::is_directory(name, ignored)) return "is a folder; -r looks into it";
  const int descriptor = open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (descriptor < 0) return std::strerror(errno);
  close(descriptor);
  return "cannot be read";
}

class EncodingCommand {
 public:
  explicit EncodingCommand(const Options& options)
      : options_(options),
        report_({options.json ? ReportForm::json : ReportForm::text, options.lineBreaks, options.explain}),
        detection_({.lineBreaks = options.lineBreaks, .candidates = options.explain}),
        progress_(knownTotal(options)),
        pool_(threadsOf(options), {.work = [this](Job&& job) { return lookAt(std::move(job)); },
                                   .take = [this](Answer&& answer) { return print(answer); },
                                   .nothingPending = [this] { output_.flush(); }}) {}

  int run() {
    std::exception_ptr badList;  // what was named before it is answered all the same
    try {
      visitAll();
    } catch (const std::system_error&) {
      badList = std::current_exception();
    }
    pool_.finish();
    output_.flush();
    progress_.clear();
    if (badList) std::rethrow_exception(badList);
    if (output_.error() == 0) return status_;
    if (output_.error() != EPIPE) std::fprintf(stderr, "jv encoding: standard output: %s\n", strerror(output_.error()));
    return kFailed;
  }

 private:
  static std::optional<std::uint64_t> knownTotal(const Options& options) {
    if (options.recursive || !options.filesFrom.empty()) return std::nullopt;
    return options.files.size();
  }

  static unsigned threadsOf(const Options& options) {
    return options.threads != 0 ? options.threads : std::max(std::thread::hardware_concurrency(), 1U);
  }

  void visitAll() {
    const NameVisitor inFolder = {.file =
                                      [this](std::string name) {
                                        return pool_.give({Job::Kind::file, std::move(name), {}});
                                      },
                                  .unreadable =
                                      [this](std::string name, std::string reason) {
                                        return pool_.give({Job::Kind::unreadable, std::move(name), std::move(reason)});
                                      },
                                  .waits = {}};
    NameVisitor named = inFolder;
    named.file = [this, &inFolder](std::string name) {
      std::error_code ignored;
      if (name.empty()) return inFolder.unreadable(name, std::strerror(ENOENT));
      if (options_.recursive && std::filesystem::is_directory(name, ignored)) return visitFolder(name, inFolder);
      return inFolder.file(std::move(name));
    };
    named.waits = [this](bool waits) { pool_.callerWaits(waits); };

    for (const std::string& file : options_.files) {
      const bool more = file == "-" ? pool_.give({Job::Kind::standardInput, file, {}}) : named.file(file);
      if (!more) return;
    }
    if (!options_.filesFrom.empty()) visitList(options_.filesFrom, named);
  }

  [[nodiscard]] Answer lookAt(Job&& job) const {
    const EncodingDetection found = detect(job);
    if (found.rule == EncodingRule::unreadable && job.reason.empty()) job.reason = reasonFor(job.name);
    Answer answer = {reportOf(job.name, found, report_), {}};
    if (found.rule == EncodingRule::unreadable) {
      answer.complaint = "jv encoding: " + printableName(job.name) + ": " + job.reason + '\n';
    }
    return answer;
  }

  [[nodiscard]] EncodingDetection detect(Job& job) const {
    if (job.kind == Job::Kind::unreadable) return {};
    if (job.kind == Job::Kind::file) return JVFoundation::detectEncodingOfFile(job.name, detection_);
    std::string bytes;
    const int error = readToEnd(STDIN_FILENO, bytes);
    if (error == 0) return JVFoundation::detectEncoding(bytes, detection_);
    job.reason = std::strerror(error);
    return {};
  }

  bool print(const Answer& answer) {
    if (!answer.complaint.empty()) {
      status_ = kNothing;
      progress_.clear();
      std::fputs(answer.complaint.c_str(), stderr);
    }
    progress_.countOne();
    return output_.write(answer.lines);
  }

  const Options& options_;
  ReportOptions report_;
  EncodingDetectionOptions detection_;
  Progress progress_;
  Output output_;
  int status_ = kDone;
  OrderedPool<Job, Answer> pool_;  // last: its threads use the others
};

constexpr const char* kFooter =
    R"text(Prints a line a file, in the order of the files: "NAME: ENCODING (NUMBER)", and behind it ", LF" or another kind
of line breaks when asked for. A name that could upset a terminal or the line (control characters, bytes that are
no UTF-8, a blank in front) is written $'...', as the shell reads it back. What explains a line is indented below it.

With --json a line is an object: file, encoding, number, rule, and when asked for lineBreaks and candidates. A file name
that is no UTF-8 has U+FFFD in place of the odd bytes there, and stands in fileHex byte for byte.

Property lists and XML, known by their extension, are "unknown" without being opened. A file that cannot be read is
"unknown" as well, is complained about on standard error, and makes the exit status 1.)text";

void check(const Options& options) {
  if (options.files.empty() && options.filesFrom.empty()) throw CLI::RequiredError("FILE or --files-from");
  if (options.filesFrom == "-" && std::ranges::find(options.files, "-") != options.files.end()) {
    throw CLI::ValidationError("--files-from", "standard input cannot be both the list and a file");
  }
}

}  // namespace

void addEncodingCommand(CLI::App& app, int& status) {
  CLI::App* command = app.add_subcommand("encoding", "The encoding and the line breaks of text files");
  const auto options = std::make_shared<Options>();
  addUnchangedArguments(*command, "FILE", options->files, "Files to look at; - is standard input");
  command->add_flag("-l,--line-breaks", options->lineBreaks, "Tell the line breaks: LF, CRLF, CR or none");
  command->add_flag("-e,--explain", options->explain, "Tell which rule decided, and how well each candidate fits");
  command->add_flag("--json", options->json, "An object a line, for machines");
  command->add_flag("-r,--recursive", options->recursive, "Look at the regular files in folders, at any depth");
  command->add_option("-j,--threads", options->threads, "Files to look at at once; 0: as many as there are processors")
      ->check(CLI::Range(0, 1024))
      ->option_text("N");
  command
      ->add_option("--files-from", options->filesFrom,
                   "Look at the files that F names, a line or zero byte after each; - is standard input")
      ->option_text("F");
  command->footer(kFooter);
  command->callback([options, &status] {
    check(*options);
    status = EncodingCommand(*options).run();
  });
}

}  // namespace jv
