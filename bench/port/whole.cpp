#include "port/whole.h"

namespace bench {

bool is_whole(const Bytes& message) {
    const std::size_t length = message_length(message[0]);
    return message[0] >= 0x80 && message[0] != SYSEX_END &&
           (length == 0 ? message.back() == SYSEX_END : message.size() == length);
}

std::vector<Bytes> WholeMessages::feed(const Bytes& bytes) {
    std::vector<Bytes> whole;
    for (const std::uint8_t byte : bytes) {
        if (byte < 0x80 && splitter_.pending().empty() && running_ != 0) {
            splitter_.feed(&running_, 1);
        }
        for (const Bytes& message : splitter_.feed(&byte, 1)) {
            take(message, whole);
        }
        if (splitter_.pending().size() > LONGEST) {
            ++dropped_;
            splitter_ = Splitter();
            running_ = 0;
        }
    }
    return whole;
}

void WholeMessages::take(const Bytes& message, std::vector<Bytes>& whole) {
    const std::uint8_t status = message[0];
    if (status >= 0x80 && status < 0xF8) {
        running_ = status < SYSEX_START ? status : 0;
    }
    if (is_whole(message)) {
        whole.push_back(message);
    } else {
        ++dropped_;
    }
}

}  // namespace bench
