#include "encoding/texts.h"

#include <iconv.h>

#include <JorvaneFoundation/encoding/string_encodings.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string_view>

namespace jv::bench {
namespace {

Bytes converted(std::span<const std::uint8_t> text, const char* from, const char* to) {
  const iconv_t converter = iconv_open(to, from);
  if (converter == reinterpret_cast<iconv_t>(-1)) throw std::runtime_error("no converter");
  Bytes result(text.size() * 3);
  auto* next = reinterpret_cast<char*>(const_cast<std::uint8_t*>(text.data()));
  auto* out = reinterpret_cast<char*>(result.data());
  std::size_t left = text.size();
  std::size_t room = result.size();
  const bool done = iconv(converter, &next, &left, &out, &room) != static_cast<std::size_t>(-1);
  iconv_close(converter);
  if (!done) throw std::runtime_error("not convertible");
  result.resize(result.size() - room);
  return result;
}

// Characters by how often they occur: those that come often stand here often. Detectors that go by frequency need a
// mixture that is like that of sentences.
constexpr std::string_view kHiragana =
    "のののののののののいいいいいいいししししししたたたたたたににににににはははははるるるるるをををををががががが"
    "てててててとととととでででででなななななかかかかかれれれれすすすすもももまままままこここさささうううくくくりりりら"
    "ららっっっ"
    "ききあああよよんんんそそそせせつつけけだだどどえええめめややちちみみおおばばわわじぶびずほへべふむゆねひぐげごぎご"
    "ぞぜぬ";
constexpr std::string_view kKanji =
    "日一国人年大十二本中長出三時行見月後前生五間上東四今金九入学高円子外八六下来気小七山話女北午百書先名川千水半男"
    "西電校語土木聞食車何南万毎白天母火右読友左休父雨会同事自社発者地業方新場員立開手力問代明動京目通言理体田主題意"
    "不作用度強公持野以思家世多正安院心界教文元重近考画海売知道集別物使品計死特私始朝運終台広住真有口少町料工建空急"
    "止送切転研足究楽起着店病質待試族銀早映親験英医仕去味写字答夜音注帰古歌買悪図週室歩風紙黒花春赤青館屋色走秋夏習"
    "駅洋旅服部内政経済法治市議選挙関係対調査決定予算制度機械情報処理技術開発設計進化結果変化連続管理";

/// The characters of @p text in EUC-JP, two bytes each.
Bytes pairsOf(std::string_view text) {
  return converted({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, "UTF-8", "EUC-JP");
}

/// Draws text in EUC-JP, where every character of the common sets is a row and a cell.
class Writer {
 public:
  explicit Writer(std::string_view lineBreak) : lineBreak_(lineBreak) {}

  Bytes japanese(std::size_t size) {
    while (text_.size() < size) {
      const std::size_t length = draw(30, 60);
      for (std::size_t i = 0; i < length;) i += drawRun();
      append(lineBreak_);
    }
    return std::move(text_);
  }

  Bytes ascii(std::size_t size) {
    while (text_.size() < size) {
      for (std::size_t i = 0, length = draw(30, 80); i < length;) i += drawWord();
      append(lineBreak_);
    }
    return std::move(text_);
  }

 private:
  std::size_t draw(std::size_t first, std::size_t last) {
    return std::uniform_int_distribution<std::size_t>(first, last)(random_);
  }

  void append(std::string_view bytes) { text_.insert(text_.end(), bytes.begin(), bytes.end()); }

  /// @p count characters of the rows from @p firstRow to @p lastRow, as far as the cell @p lastCell.
  std::size_t drawPairs(std::size_t count, std::size_t firstRow, std::size_t lastRow, std::size_t lastCell) {
    for (std::size_t i = 0; i < count; ++i) {
      text_.push_back(static_cast<std::uint8_t>(0xA0 + draw(firstRow, lastRow)));
      text_.push_back(static_cast<std::uint8_t>(0xA0 + draw(1, lastCell)));
    }
    return count;
  }

  /// @p count characters of those in @p pairs.
  std::size_t drawOf(const Bytes& pairs, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t at = 2 * draw(0, pairs.size() / 2 - 1);
      text_.push_back(pairs[at]);
      text_.push_back(pairs[at + 1]);
    }
    return count;
  }

  std::size_t drawWord() {
    const std::size_t length = draw(2, 9);
    for (std::size_t i = 0; i < length; ++i) text_.push_back(static_cast<std::uint8_t>(draw('a', 'z')));
    text_.push_back(' ');
    return length + 1;
  }

  std::size_t drawPunctuation() {
    constexpr std::string_view kMarks[] = {"\xA1\xA2", "\xA1\xA3", "\xA1\xD6", "\xA1\xD7"};
    append(kMarks[draw(0, std::size(kMarks) - 1)]);
    return 1;
  }

  /// Some characters of one kind, as they follow each other in sentences. Half of all are hiragana, a third kanji.
  std::size_t drawRun() {
    const std::size_t kind = draw(1, 100);
    if (kind <= 48) return drawOf(hiragana_, draw(1, 5));
    if (kind <= 85) return drawOf(kanji_, draw(1, 3));
    if (kind <= 90) return drawPairs(draw(1, 2), 16, 46, 94);  // the rarer ones, of level 1
    if (kind <= 93) return drawPairs(draw(2, 6), 5, 5, 86);
    if (kind <= 99) return drawPunctuation();
    return drawWord();
  }

  const Bytes hiragana_ = pairsOf(kHiragana);
  const Bytes kanji_ = pairsOf(kKanji);
  std::mt19937_64 random_{20240229};
  std::string_view lineBreak_;
  Bytes text_;
};

/// The position behind the last line that ends within @p size bytes.
std::size_t endOfLines(std::span<const std::uint8_t> text, std::size_t unit, std::size_t size) {
  if (text.size() <= size) return text.size();
  std::size_t end = size - size % unit;
  while (end > 0 && (text[end - 1] != '\n' || (unit == 2 && text[end - 2] != 0))) end -= unit;
  return end;
}

Text cut(Text text, std::size_t size) {
  text.bytes.resize(endOfLines(text.bytes, text.unit, size));
  text.bytes.shrink_to_fit();
  return text;
}

}  // namespace

std::vector<Text> makeTexts(std::size_t size) {
  const Bytes lf = Writer("\n").japanese(size + size / 8);
  const Bytes crlf = Writer("\r\n").japanese(size + size / 8);
  std::vector<Text> texts;
  texts.push_back(cut({"ASCII", Writer("\n").ascii(size), NSASCIIStringEncoding}, size));
  texts.push_back(cut({"UTF-8", converted(lf, "EUC-JP", "UTF-8"), NSUTF8StringEncoding}, size));
  texts.push_back(cut({"EUC-JP", lf, NSJapaneseEUCStringEncoding}, size));
  texts.push_back(cut({"Shift_JIS CRLF", converted(crlf, "EUC-JP", "SHIFT_JIS"), NSShiftJISStringEncoding}, size));
  texts.push_back(cut({"ISO-2022-JP", converted(lf, "EUC-JP", "ISO-2022-JP"), NSISO2022JPStringEncoding}, size));
  // Big-endian, where every line feed is behind a zero byte; without a mark that is the only sign.
  texts.push_back(cut({"UTF-16", converted(lf, "EUC-JP", "UTF-16BE"), NSUnicodeStringEncoding, 2}, size));
  return texts;
}

std::vector<std::span<const std::uint8_t>> piecesOf(const Text& text, std::size_t size) {
  std::vector<std::span<const std::uint8_t>> pieces;
  std::span<const std::uint8_t> left(text.bytes);
  while (left.size() >= size) {
    const std::size_t end = endOfLines(left, text.unit, size);
    pieces.push_back(left.first(end));
    left = left.subspan(end);
  }
  return pieces;
}

}  // namespace jv::bench
