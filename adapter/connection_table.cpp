#include "adapter/connection_table.h"

#include <algorithm>
#include <iterator>

namespace orvix {

namespace {

using State = ConnectionState;
using When = ConnectionCondition;
using Do = ConnectionAction;

// clang-format off
constexpr ConnectionRow kConnectionTable[] = {
    {State::DISCONNECTED, When::Always,
        "",
        {Do::SendConnect, Do::LimitConnectionTime, Do::ReplyFast},    State::CONNECTING,                  false, '2'},
    {State::CONNECTING, When::Connected,
        "",
        {Do::StopTimeout, Do::ReplyFast},                             State::CONNECTED_WORKING,           true,  0},
    {State::CONNECTING, When::SocketError,
        " SOCKET ERROR ON DEVICE CONNECTION - DISCONNECT!",
        {Do::ResetConnection, Do::PauseAfterError},                   State::WAIT_AFTER_SOCKET_ERROR,     true,  '1'},
    {State::CONNECTING, When::TimeExpired,
        " TIMEOUT ON DEVICE CONNECTION - DISCONNECT!",
        {Do::ResetConnection, Do::PauseAfterError},                   State::WAIT_AFTER_CONNECTION_FAIL,  true,  '1'},
    {State::CONNECTING, When::Always,
        " WAITING FOR CONNECTION",
        {Do::ReplyFast},                                              State::CONNECTING,                  false, 0},
    {State::WAIT_AFTER_SOCKET_ERROR, When::TimeExpired,
        " WAIT AFTER SOCKET ERROR TIMEOUT  - RESTART",
        {Do::DisconnectIfConnected, Do::StopTimeout, Do::ReplyFast},  State::DISCONNECTED,                true,  '0'},
    {State::WAIT_AFTER_SOCKET_ERROR, When::Always,
        "",
        {Do::ReplyFast},                                              State::WAIT_AFTER_SOCKET_ERROR,     false, 0},
    {State::WAIT_AFTER_CONNECTION_FAIL, When::TimeExpired,
        " WAIT CONNECTION FAILED TIMEOUT  - RESTART",
        {Do::StopTimeout, Do::ReplyFast},                             State::DISCONNECTED,                true,  '0'},
    {State::WAIT_AFTER_CONNECTION_FAIL, When::Always,
        " WAIT AFTER CONNECTION FAILED...",
        {Do::ReplyFast},                                              State::WAIT_AFTER_CONNECTION_FAIL,  false, 0},
};
// clang-format on

bool Holds(ConnectionCondition condition, const ConnectionInputs& inputs) {
    switch (condition) {
        case When::Always:
            return true;
        case When::Connected:
            return inputs.Connected;
        case When::SocketError:
            return inputs.SocketError;
        case When::TimeExpired:
            return inputs.TimeExpired;
    }
    return false;
}

}  // namespace

std::string_view StateName(ConnectionState state) {
    switch (state) {
        case State::DISCONNECTED:
            return "DISCONNECTED";
        case State::CONNECTING:
            return "CONNECTING";
        case State::WAIT_AFTER_SOCKET_ERROR:
            return "WAIT_AFTER_SOCKET_ERROR";
        case State::WAIT_AFTER_CONNECTION_FAIL:
            return "WAIT_AFTER_CONNECTION_FAIL";
        case State::CONNECTED_WORKING:
            return "CONNECTED_WORKING";
        case State::WAITING_FOR_IDLE:
            return "WAITING_FOR_IDLE";
        case State::CONNECTED_IDLE:
            return "CONNECTED_IDLE";
    }
    return {};
}

const ConnectionRow* FindConnectionRow(ConnectionState state, const ConnectionInputs& inputs) {
    const auto row = std::find_if(
        std::begin(kConnectionTable), std::end(kConnectionTable),
        [&](const ConnectionRow& candidate) { return candidate.State == state && Holds(candidate.Condition, inputs); });
    return row == std::end(kConnectionTable) ? nullptr : row;
}

}  // namespace orvix
