#pragma once

#include <cstddef>
#include <string_view>

#include "platform/file_descriptor.h"

namespace orvix::platform {

/// Writes to a descriptor that others may use as well, and takes no longer than the system needs to copy the bytes,
/// whether that is a terminal that is stopped, a pipe that nobody reads or a disk that hangs. What a file has not taken
/// when this goes is still written, for as long as the process lives.
class ReadyWriter {
public:
    /// The settings of `descriptor`, which others share, are left alone. Raises SystemError for want of descriptors.
    explicit ReadyWriter(int descriptor);
    /// Writes as much of a beginning as is taken now; 0: nothing at present. Raises SystemError when nothing will be
    /// taken any more.
    std::size_t Write(std::string_view bytes);
    /// Ready for output when more is taken.
    int Descriptor() const { return m_Target.Get(); }
    /// Nothing more is written. Waits until what was has reached a file; returns whether it has within the limit.
    bool Finish(int limitMs);

private:
    void FeedByThread(int descriptor);

    bool m_IsSocket = false;
    FileDescriptor m_Target;
    FileDescriptor m_Fed;  ///< of a file: ready when all that was written has reached it
};

}  // namespace orvix::platform
