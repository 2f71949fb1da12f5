// The quick readers, written over blocks of 64 bytes. Included by the file of each instruction set, which defines
// before:
//
//   Block, load(bytes)   64 bytes
//   Mask, &, |, bits()   a truth for each of them, and all of them as a word, the first byte's lowest
//   is(block, byte), isGraphic(block), isHigh(block), isShift(block)
//   Classes<kHasGap>     of `PairClasses`: noSingles(block), leads(block), known(block, next) as words
//   KnownGraphic         of `KnownPairs` of a set of pairs, for bytes below 80: pairs(block, next)
//
// The encodings without states: in a run of bytes that can all be leads, leads and trails alternate from its first byte
// on, for the byte before the run is none and so cannot take the first as its trail. The leads of 64 bytes are thus a
// few operations on a word, and the rest is a look at the classes of bytes; the code table is asked about the few pairs
// that are neither known characters nor wrong by their classes.

namespace jv::sniffing {
namespace {

constexpr std::size_t kBlock = 64;  // as many bytes as a word has bits
static_assert(kQuickBytes == kBlock + 2);  // escape sequences begin anywhere in a block and have three bytes
constexpr std::uint64_t kEvenPlaces = 0x5555555555555555;

/// The bits below the lowest one of @p bits, which is not 0.
std::uint64_t below(std::uint64_t bits) { return (bits & (0 - bits)) - 1; }

/// Those of @p canLead that are leads, given that a character begins at the first place: every other one of each run.
std::uint64_t everyOther(std::uint64_t canLead) {
  const std::uint64_t starts = canLead & ~(canLead << 1);
  // The addition carries through the runs that start at even places and leaves the others as they are.
  const std::uint64_t fromEven = canLead & ~(canLead + (starts & kEvenPlaces));
  return (fromEven & kEvenPlaces) | (canLead & ~fromEven & ~kEvenPlaces);
}

/// Those of @p leads that begin no character by the code table. The bits @p highBits of a pair count as set. Rarely
/// called, and a call of it, unlike its body, leaves the loops their registers.
[[gnu::noinline, gnu::cold]] std::uint64_t unassigned(const CodeTable& pairs, const std::uint8_t* bytes,
                                                      std::uint64_t leads, std::uint8_t highBits = 0) {
  std::uint64_t found = 0;
  for (; leads != 0; leads &= leads - 1) {
    const std::uint8_t* pair = bytes + std::countr_zero(leads);
    const auto lead = static_cast<std::uint8_t>(pair[0] | highBits);
    const auto trail = static_cast<std::uint8_t>(pair[1] | highBits);
    if (trail < 0x40 || !pairs.holds(lead, trail)) found |= leads & (0 - leads);
  }
  return found;
}

unsigned count(std::uint64_t bits) { return static_cast<unsigned>(std::popcount(bits)); }

template <bool kHasGap>
std::size_t readPairsAndSingles(const CodeTable& pairs, const PairClasses& tables, Bytes text, std::size_t at,
                                std::size_t end, std::uint64_t& features) {
  const Classes<kHasGap> classes(tables);
  std::uint64_t carried = 0;  // 1 when the block's first byte is the trail of the one before
  // A pair may begin at a block's last place, so a byte behind the block is looked at too.
  for (; at < end && at + kQuickBytes <= text.size(); at += kBlock) {
    const std::uint8_t* bytes = text.data() + at;
    prefetchAhead(bytes);
    const Block block = load(bytes);
    const std::uint64_t noSingle = classes.noSingles(block);
    if ((noSingle & ~carried) == 0) {
      carried = 0;
      continue;
    }

    const std::uint64_t assigned = classes.known(block, load(bytes + 1));
    const std::uint64_t leads = everyOther(classes.leads(block) & ~carried);
    const std::uint64_t trails = leads << 1 | carried;
    std::uint64_t wrong = noSingle & ~leads & ~trails;
    if (const std::uint64_t unknown = leads & ~assigned) [[unlikely]]
      wrong |= unassigned(pairs, bytes, unknown);
    if (wrong != 0) [[unlikely]] {
      // A lead whose trail is wrong is left as well.
      const std::uint64_t good = below(wrong);
      const std::uint64_t whole = good & ~(leads & ~(good >> 1));
      features += count(leads & whole);
      return at + count(whole);
    }
    features += count(leads);
    carried = leads >> (kBlock - 1);
  }
  return at + carried;
}

std::size_t readEightBit(const EightBitRules& rules, const PairClasses& classes, Bytes text, std::size_t at,
                         std::size_t end, std::uint64_t& features) {
  const auto read = classes.known.hasGap ? readPairsAndSingles<true> : readPairsAndSingles<false>;
  return read(*rules.pairs, classes, text, at, end, features);
}

/// Reads pairs of a set, whole and assigned ones, up to whatever else comes.
std::size_t readGraphicPairs(const CodeTable& pairs, const KnownPairs& knownPairs, Bytes text, std::size_t at,
                             std::size_t end, std::uint64_t& features) {
  const KnownGraphic known(knownPairs);
  for (; at < end && at + kQuickBytes <= text.size(); at += kBlock) {
    const std::uint8_t* bytes = text.data() + at;
    prefetchAhead(bytes);
    const Block block = load(bytes);
    // The pairs of which both bytes are graphic. Where to go on depends on them alone, unless one is wrong.
    const auto length = static_cast<unsigned>(std::countr_one(bits(isGraphic(block)))) & ~1U;
    const std::uint64_t leads = length == kBlock ? kEvenPlaces : kEvenPlaces & ((std::uint64_t{1} << length) - 1);
    const std::uint64_t assigned = bits(known.pairs(block, load(bytes + 1)));
    if (const std::uint64_t unknown = leads & ~assigned) [[unlikely]] {
      const std::uint64_t wrong = unassigned(pairs, bytes, unknown, 0x80);
      if (wrong != 0) {
        const std::uint64_t right = leads & below(wrong);
        features += count(right);
        return at + 2 * count(right);
      }
    }
    features += length / 2;
    if (length != kBlock) return at + length;
  }
  return at;
}

/// Skips what is neither above 7F nor ESC, SO or SI.
std::size_t skipPlain(Bytes text, std::size_t at, std::size_t end) {
  for (; at < end && at + kQuickBytes <= text.size(); at += kBlock) {
    const std::uint8_t* bytes = text.data() + at;
    prefetchAhead(bytes);
    const Block block = load(bytes);
    const std::uint64_t special = bits(isHigh(block) | is(block, kEscape) | isShift(block));
    if (special != 0) return at + static_cast<unsigned>(std::countr_zero(special));
  }
  return at;
}

/// Reads text that changes between ASCII and @p usual by nothing but ESC ( B, ESC ( J, ESC $ B and ESC $ @ in turn,
/// as nearly all of it does, without a branch for each change. Stops before whatever else comes.
std::size_t readAlternating(const GraphicSet& usual, const KnownPairs& knownPairs, Iso2022State& state, Bytes text,
                            std::size_t at, std::size_t end, std::uint64_t& features) {
  const KnownGraphic known(knownPairs);
  // What the block before has left: 1 when pairs are on; the bits of the rest of an escape sequence; 1 when the
  // first byte is a trail.
  std::uint64_t pairsOn = state.direct == &usual ? 1 : 0;
  std::uint64_t restOfEscape = 0;
  std::uint64_t carried = 0;

  for (; at < end && at + kQuickBytes <= text.size(); at += kBlock) {
    const std::uint8_t* bytes = text.data() + at;
    prefetchAhead(bytes);
    const Block block = load(bytes);
    const Block next = load(bytes + 1);
    const Block nextButOne = load(bytes + 2);
    const Mask endsInB = is(nextButOne, 'B');
    const std::uint64_t toPairs = bits(is(next, '$') & (endsInB | is(nextButOne, '@')));
    const std::uint64_t toAscii = bits(is(next, '(') & (endsInB | is(nextButOne, 'J')));
    const std::uint64_t escape = bits(is(block, kEscape));

    const std::uint64_t opens = escape & toPairs;
    const std::uint64_t closes = escape & toAscii;
    // Where they take turns, the difference fills the places from each opening up to the closing behind it, or to the
    // end of the block.
    const std::uint64_t on = closes - opens - pairsOn;
    const std::uint64_t onBefore = on << 1 | pairsOn;
    const std::uint64_t inEscape = escape | escape << 1 | escape << 2 | restOfEscape;
    const std::uint64_t inPairs = on & ~inEscape & bits(isGraphic(block));
    const std::uint64_t leads = everyOther(inPairs & ~carried);
    const std::uint64_t trails = leads << 1 | carried;
    // Every escape sequence must be one of the four, and change what is on.
    std::uint64_t wrong = ((on & ~onBefore) ^ opens) | ((onBefore & ~on) ^ closes) | (escape ^ opens ^ closes) |
                          (trails & ~inPairs) | bits(isHigh(block) | isShift(block));
    const std::uint64_t unknown = leads & ~bits(known.pairs(block, next));
    if (unknown != 0) [[unlikely]]
      wrong |= unassigned(*usual.pairs, bytes, unknown, 0x80);
    if (wrong != 0) [[unlikely]]
      break;
    features += count(trails);
    pairsOn = on >> (kBlock - 1);
    const std::uint64_t cutEscape = escape >> (kBlock - 2);  // two bytes follow, or one
    restOfEscape = cutEscape | cutEscape >> 1;
    carried = leads >> (kBlock - 1);
  }
  state.direct = pairsOn != 0 ? &usual : &kAsciiSet;
  return at - carried + count(restOfEscape);
}

std::size_t readIso2022(const Iso2022Rules& rules, const KnownPairs* known, Iso2022State& state, Bytes text,
                        std::size_t at, std::size_t end, std::uint64_t errorLimit, Counts& total) {
  Counts counts = total;
  while (at < end && counts.errors < errorLimit) {
    std::size_t pause = end;
    if (rules.usual != nullptr && !state.shiftedOut && (state.direct == rules.usual || state.direct == &kAsciiSet)) {
      at = readAlternating(*rules.usual, known[rules.usual->number], state, text, at, end, counts.features);
      pause = at + kBlock < end ? at + kBlock : end;
    }
    while (at < pause && counts.errors < errorLimit) {
      const GraphicSet& set = state.active();
      if (set.pairs != nullptr) {
        at = readGraphicPairs(*set.pairs, known[set.number], text, at, pause, counts.features);
      } else if (&set == &kAsciiSet) {
        at = skipPlain(text, at, pause);
      }
      if (at < pause) at = readCharacter(rules, state, text, at, counts);
    }
  }
  total = counts;
  return at;
}

constexpr QuickReaders kReaders = {JV_READERS_NAME, readEightBit, readIso2022};

}  // namespace
}  // namespace jv::sniffing
