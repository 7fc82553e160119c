#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace orvix {

/// State of the link between adapter and driver.
enum class ConnectionState : std::int32_t {
    DISCONNECTED = 0,
    CONNECTING = 1,
    WAIT_AFTER_SOCKET_ERROR = 2,
    WAIT_AFTER_CONNECTION_FAIL = 3,
    CONNECTED_WORKING = 6,
    WAITING_FOR_IDLE = 7,
    CONNECTED_IDLE = 8,
};

/// Name of a state in debug lines.
std::string_view StateName(ConnectionState state);

enum class ConnectionCondition { Always, Connected, SocketError, TimeExpired };

enum class ConnectionAction {
    None,
    SendConnect,
    LimitConnectionTime,
    StopTimeout,
    DisconnectIfConnected,
    ResetConnection,
    PauseAfterError,
    ReplyFast,
};

/// One transition: in `State`, when `Condition` holds, the debug line goes out, the actions run in order, and `Next` is
/// the state afterwards, whatever the actions have set.
struct ConnectionRow {
    ConnectionState State;
    ConnectionCondition Condition;
    std::string_view DebugSuffix;  ///< empty: no debug line
    std::array<ConnectionAction, 3> Actions;
    ConnectionState Next;
    bool Networking;  ///< the link is in use from now on
    char Activity;    ///< digit of the activity notification; 0: none
};

/// What the conditions look at.
struct ConnectionInputs {
    bool Connected = false;
    bool SocketError = false;
    bool TimeExpired = false;
};

/// The first row that matches, or null for a state in which no connection is being made.
const ConnectionRow* FindConnectionRow(ConnectionState state, const ConnectionInputs& inputs);

}  // namespace orvix
