/// The steps of a file's detection, on a table that is passed in.
#pragma once

#include <JorvaneFoundation/encoding/detection.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "encoding/sniff_engine.h"
#include "platform/FileContents.h"

namespace jv {

/// Whether files of this extension name their own encoding and so are not looked at; no extension at all counts too.
bool declaresItsEncoding(std::optional<std::string_view> extension);

/// Switches on the rows of the Japanese encodings, UTF-8 and UTF-16, and no other, and takes all marks away.
void enableJapaneseAndUnicode(SnifferTable table);

/// The string encoding number that the outcome @p result of a sniff stands for; the first marked row wins.
std::uint64_t encodingOfResult(SnifferTable table, std::int64_t result, std::uint32_t defaultEncoding);

/// Has @p detect look at all bytes of the file at @p path, and hands on what it gives; none when the file cannot be
/// read. It is called again, on what is left, when the file was shrunk meanwhile.
template <class Detect>
auto withContentsOf(std::string_view path, Detect detect)
    -> std::optional<decltype(detect(std::span<const std::uint8_t>{}))> {
  std::optional<FileContents> contents = FileContents::of(path);
  if (!contents) return std::nullopt;
  auto found = detect(contents->bytes());
  if (!contents->shrank()) return found;
  const std::optional<FileContents> rest = FileContents::of(path, FileContents::Means::read);
  if (!rest) return std::nullopt;
  return detect(rest->bytes());
}

}  // namespace jv
