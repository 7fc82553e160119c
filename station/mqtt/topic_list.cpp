#include "station/mqtt/topic_list.h"

#include <mosquitto.h>

#include <sstream>

#include "host/error.h"
#include "host/text.h"
#include "platform/atomic_file.h"
#include "platform/regular_file.h"

namespace orvix::station {
namespace {

constexpr std::size_t kLongestList = 4UL * 1024 * 1024;

}  // namespace

std::set<std::string> ReadTopicList(const std::string& file) {
    std::set<std::string> topics;
    try {
        std::istringstream lines(BytesToText(platform::ReadRegularFile(file, kLongestList)));
        for (std::string line; std::getline(lines, line);)
            if (!line.empty() && mosquitto_pub_topic_check(line.c_str()) == MOSQ_ERR_SUCCESS) topics.insert(line);
    } catch (const Error&) {
        // Then nobody knows what there was.
    }
    return topics;
}

void WriteTopicList(const std::string& file, const std::set<std::string>& topics) {
    std::string text;
    for (const auto& topic : topics)
        text.append(topic).append("\n");
    platform::WriteFileAtomically(file, TextToBytes(text), platform::kOwnerOnly);
}

}  // namespace orvix::station
