#pragma once

namespace orvix {

class Channel;

class iPlexaIPCThread {
public:
    virtual ~iPlexaIPCThread() = default;
    /// The thread's channel object, or null.
    Channel* IPC() const { return iPlexaIPCThread_IPC(); }

private:
    virtual Channel* iPlexaIPCThread_IPC() const = 0;
};

}  // namespace orvix
