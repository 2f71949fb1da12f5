// Answers every line with the screens: NAME X Y WIDTH HEIGHT SCALE, separated by semicolons. It is the same process all
// along, so that whoever asks can change things between two questions.
#include <iostream>
#include <string>

#include <JorvaneFoundation/JorvaneFoundation.h>

int main() {
  for (std::string line; std::getline(std::cin, line);) {
    for (const auto& screen : JVScreens()) {
      const NSRect frame = screen->frame();
      std::cout << screen->name() << ' ' << frame.origin.x << ' ' << frame.origin.y << ' ' << frame.size.width << ' '
                << frame.size.height << ' ' << screen->scale() << ';';
    }
    std::cout << std::endl;
  }
}
