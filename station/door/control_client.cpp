#include "station/door/control_client.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <filesystem>

#include "host/error.h"

namespace orvix::station {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::string_view kOk = "ok\n";
constexpr std::string_view kError = "error: ";

/// All that comes until the other end closes, nothing when that takes too long.
std::string ReceiveAll(const platform::FileDescriptor& socket, Clock::time_point end) {
    std::string received;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        pollfd readable{socket.Get(), POLLIN, 0};
        if (left.count() <= 0 || ::poll(&readable, 1, static_cast<int>(left.count())) == 0) return {};
        char bytes[4096];
        const ssize_t size = ::recv(socket.Get(), bytes, sizeof(bytes), 0);
        if (size == 0) return received;
        if (size > 0) received.append(bytes, static_cast<std::size_t>(size));
        if (size < 0 && errno != EAGAIN && errno != EINTR) return received;
    }
}

ControlAnswer Ask(const platform::FileDescriptor& socket, const std::string& request, Clock::time_point end) {
    ControlAnswer answer{PeerOf(socket).Process, {}, {}};
    const auto station = "the station of process " + std::to_string(answer.Process);
    const auto line = request + "\n";
    ::send(socket.Get(), line.data(), line.size(), MSG_NOSIGNAL);
    const auto received = ReceiveAll(socket, end);
    if (received.starts_with(kOk)) {
        answer.Text = received.substr(kOk.size());
    } else if (received.starts_with(kError)) {
        answer.Failure = station + ": " + received.substr(kError.size(), received.find('\n') - kError.size());
    } else {
        answer.Failure = station + " does not answer";
    }
    return answer;
}

}  // namespace

std::vector<ControlAnswer> AskStations(const std::string& folder, const std::string& request,
                                       std::chrono::milliseconds limit) {
    std::vector<ControlAnswer> answers;
    if (std::filesystem::is_directory(folder)) {
        const ControlFolder place(folder);
        for (const auto& name : place.Names()) {
            try {
                const auto socket = place.Connect(name);
                if (socket) answers.push_back(Ask(*socket, request, Clock::now() + limit));
            } catch (const Error& error) {
                answers.push_back({0, {}, error.Description});
            }
        }
    }
    if (answers.empty()) throw Error(errors::General, "no station is running with the data folder " + folder);
    return answers;
}

}  // namespace orvix::station
