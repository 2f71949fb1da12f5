/// Small facts about the system, the machine and the user.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <JorvaneFoundation/foundation/JVExport.h>
#include <JorvaneFoundation/foundation/NSOperatingSystemVersion.h>

/// Every question is answered on the calling thread, anew each time unless it says otherwise. None fails: each has a
/// fixed answer for when nobody can tell. Any thread.
///
/// Those that ask another program (the user's name and address, the idle time) wait for it 100 ms at most, then answer
/// without it.
class JV_EXPORT JVUtilities {
 public:
  JVUtilities() = delete;

  // Conversions. They look at their arguments alone.

  /// Reads a version of exactly three parts between full stops: "10.15.7". Of each part counts what a number at its
  /// front says, behind white space and one sign; no number counts 0, and one beyond 64 bits the nearest that fits.
  /// @return {0, 0, 0} for another number of parts ("10.15", "10.15.7.1") and for none.
  [[nodiscard]] static NSOperatingSystemVersion operatingSystemVersionFromString(std::optional<std::string_view> text);
  /// The three parts with full stops between them, zeros and signs included: "11.0.0", "-1.0.0".
  [[nodiscard]] static std::string stringFromOperatingSystemVersion(const NSOperatingSystemVersion& version);

  /// Packs four characters into a code, the first one into the highest byte. Fewer are filled up with blanks on the
  /// right, of more the first four count. A character goes in as its number in Unicode, which is the one in Latin-1; a
  /// byte that is no UTF-8 counts as such a character.
  /// @return 0 for none, an empty text, and a text with a character above U+00FF among the first four.
  [[nodiscard]] static std::uint32_t OSTypeFromString(std::optional<std::string_view> text);
  /// The four characters of @p code, blanks and zeros included: the inverse of `OSTypeFromString`.
  [[nodiscard]] static std::string stringFromOSType(std::uint32_t code);

  // The system. Each of these asks the system once in the process.

  /// Whether the running system's version is at least 10.14.0, 10.15.0 or 11.0.0. On Linux that version is the
  /// kernel's, so that the answer is the truth and of little use: what newer releases of another system bring is not
  /// there.
  [[nodiscard]] static bool runningOnMojave();
  [[nodiscard]] static bool runningOnCatalina();
  [[nodiscard]] static bool runningOnBigSur();

  /// Whether the protection of the system's files is on, as `/usr/bin/csrutil status` says: whether its output holds
  /// ": enabled.". Blocks until that tool has ended. A tool that is not there, fails or says nothing means no, and is
  /// run again by the next call; Linux has none.
  [[nodiscard]] static bool isSIPEnabled();

  // The user.

  /// First and last name with a blank between them, as far as there is any; none otherwise. Where the system keeps
  /// names in one piece, as Linux does, that piece: from the accounts service, else from the password file.
  [[nodiscard]] static std::optional<std::string> userName();
  /// The primary one of the user's e-mail addresses, whatever it is; without a primary one the first that is not empty.
  /// On Linux from the accounts service, else from the card in `~/.config/JorvaneFoundation/me.vcf`.
  [[nodiscard]] static std::optional<std::string> userEmail();

  // The machine.

  /// The computer's name as users know it; "Computer" when it has none. On Linux the name that was given to it
  /// ("pretty" host name), else that of `/etc/hostname`, else the kernel's. Cost: a few microseconds.
  [[nodiscard]] static std::string computerName();
  /// What the maker calls the model; empty when that is unknown, not UTF-8, or the firmware says nothing of use.
  [[nodiscard]] static std::string computerModel();

  /// The IPv4 address of the first network interface that is active: switched on and able to carry data. Whether it
  /// has an address does not matter for the choice. On Linux, hardware comes before what software made up, and the
  /// loopback interface is none.
  /// @param interfaceName  when given, gets the interface's name; "en0" when none is active.
  /// @return "127.0.0.1" when there is no active interface or it has no address.
  /// Cost: two questions to the kernel, in proportion to the number of interfaces.
  static std::string ipAddress(std::string* interfaceName = nullptr);

  /// Whether nobody has touched an input device for more than @p minutes minutes of 60 "seconds" that are 2^30
  /// nanoseconds long each: 1 answers yes from 65.5 seconds on. No when nobody can tell.
  [[nodiscard]] static bool isMachineIdleForMinutes(std::uint64_t minutes);
};
