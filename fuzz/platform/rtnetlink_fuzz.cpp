// Reads a message about a link or an address, and looks at nothing behind its end.

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/linux/rtnetlink.h"
#include "support/input.h"

using jv::fuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  nlmsghdr header;
  if (size < sizeof header) return 0;
  std::memcpy(&header, data, sizeof header);
  // Whoever takes a message in has seen that all of it is there.
  header.nlmsg_len = static_cast<std::uint32_t>(std::clamp<std::size_t>(header.nlmsg_len, sizeof header, size));
  std::vector<std::uint8_t> bytes(data, data + header.nlmsg_len);
  std::memcpy(bytes.data(), &header, sizeof header);
  const jv::fuzz::ExactCopy copy(bytes, 0);
  const auto& message = *reinterpret_cast<const nlmsghdr*>(copy.bytes().data());

  const auto link = jv::linkOf(message);
  const auto address = jv::addressOf(message);
  require(!link || !address, "a message is about one thing");
  require(!link || (link->name.size() < size && link->name.find('\0') == link->name.npos),
          "a name stands in its message");
  require(!address || (address->text.size() >= 7 && address->text.size() <= 15), "an address has four numbers");
  return 0;
}
