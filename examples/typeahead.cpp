// Typing that starts a slow search again and again: each letter asks the search that is running to give up.
#include <JorvaneFoundation/dispatch/LatestResult.h>
#include <JorvaneFoundation/dispatch/NSRunLoop.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

using JVFoundation::NSRunLoop;

namespace {

constexpr int kWords = 3'000'000;

/// Stands for a search through many files: counts the words with @p beginning, until @p search is stopped.
int countWords(const std::string& beginning, const JVDispatch& search) {
  int count = 0;
  std::uint64_t random = 1;
  std::string word(8, ' ');
  for (int i = 0; i < kWords; ++i) {
    if (i % 1000 == 0 && search.isStopped()) break;  // nobody will look at the result
    for (char& letter : word) {
      random = random * 6364136223846793005U + 1442695040888963407U;
      letter = static_cast<char>('a' + (random >> 33) % 26);
    }
    if (word.starts_with(beginning)) ++count;
  }
  return count;
}

class SearchField {
 public:
  void type(char letter) {
    text_ += letter;
    std::printf("typed \"%s\"\n", text_.c_str());
    search_.request([text = text_](const JVDispatch& asked) { return countWords(text, asked); });
  }

 private:
  void show(int count) {
    std::printf("\"%s\": %d words\n", text_.c_str(), count);
    if (text_ == "cat") NSRunLoop::mainRunLoop().stop();
  }

  std::string text_;
  JVFoundation::LatestResult<int> search_{"search", [this](int count) { show(count); }};
};

}  // namespace

int main() {
  NSRunLoop& loop = NSRunLoop::mainRunLoop();
  SearchField field;
  auto delay = std::chrono::milliseconds(0);
  for (const char letter : {'c', 'a', 't'}) {
    loop.addTimer(delay, [&field, letter] { field.type(letter); });
    delay += std::chrono::milliseconds(30);
  }
  loop.run();
}
