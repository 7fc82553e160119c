#include "station/store/uuid.h"

#include <random>

namespace orvix::station {

std::string NewUuid() {
    std::random_device random;
    std::uniform_int_distribution<unsigned> digit(0, 15);
    std::string uuid = "xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx";
    for (auto& c : uuid) {
        if (c == 'x') c = "0123456789abcdef"[digit(random)];
        if (c == 'y') c = "89ab"[digit(random) % 4];
    }
    return uuid;
}

}  // namespace orvix::station
