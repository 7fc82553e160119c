#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/file_descriptor.h"

struct z_stream_s;

namespace orvix::station {

/// A file that is read from its beginning, packed by gzip or not: its first bytes tell, whatever its name. Takes the
/// same small amount of memory for any file.
class PackedFile {
public:
    /// Raises SystemError, and General for what is no regular file.
    explicit PackedFile(std::string path);
    ~PackedFile();
    PackedFile(const PackedFile&) = delete;
    PackedFile& operator=(const PackedFile&) = delete;

    /// The next bytes, unpacked; none at the end. Raises SystemError when the file cannot be read, and General with the
    /// place in the file when what is packed is damaged, or ends too early: all before it has been returned then.
    std::string Read();

private:
    std::string ReadRaw();
    std::string Unpack();
    /// Begins with what follows a packed file, which is another one or nothing.
    void BeginNext();
    [[noreturn]] void Fail(const std::string& why) const;

    const std::string m_Path;
    platform::FileDescriptor m_File;
    std::uint64_t m_RawEnd = 0;  ///< the place in the file behind m_Raw
    std::string m_Raw;           ///< read, and not unpacked yet from m_At on
    std::size_t m_At = 0;
    std::unique_ptr<z_stream_s> m_Packed;  ///< null: the file is not packed
    bool m_IsWhole = true;                 ///< what is packed has come to its end
    std::string m_Damage;                  ///< why nothing more can be unpacked; empty: it can
};

}  // namespace orvix::station
