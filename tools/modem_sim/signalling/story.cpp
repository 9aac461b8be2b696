#include "modem_sim/signalling/story.h"

#include <iterator>

namespace corvane::modem_sim {

Story TellStory(unsigned cycle) {
  Story story;
  for (Story part : {LteStory(cycle), NrStory(cycle), WcdmaStory(cycle), GsmStory(cycle)}) {
    std::move(part.begin(), part.end(), std::back_inserter(story));
  }
  return story;
}

Bytes Octets(std::string_view hex) { return FromHex(hex).value(); }

}  // namespace corvane::modem_sim
