#include "virtual/chips/word_chip.h"

#include <algorithm>

namespace vi {

bool WordChip::send(std::span<const uint8_t> frame, uint32_t mode) {
    const bool known = mode == mode_ && std::find(lengths_.begin(), lengths_.end(), frame.size()) != lengths_.end();
    return known && take(frame_word(frame), frame.size());
}

} // namespace vi
