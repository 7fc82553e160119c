#include "station/store/packed_file.h"

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <cerrno>
#include <utility>

#include "host/error.h"
#include "platform/regular_file.h"

namespace orvix::station {
namespace {

constexpr std::size_t kChunk = 65536;
constexpr std::string_view kGzipMagic = "\x1F\x8B";
// The largest window, and gzip's own header and trailer.
constexpr int kWindowBits = 15 + 16;

bool IsPacked(std::string_view bytes) {
    return bytes.starts_with(kGzipMagic);
}

}  // namespace

PackedFile::PackedFile(std::string path)
    : m_Path(std::move(path)), m_File(platform::OpenRegularFile(m_Path, O_RDONLY)), m_Raw(ReadRaw()) {
    if (!IsPacked(m_Raw)) return;
    m_Packed = std::make_unique<z_stream_s>();
    if (::inflateInit2(m_Packed.get(), kWindowBits) != Z_OK) Fail("there is no memory to unpack it");
    m_IsWhole = false;
}

PackedFile::~PackedFile() {
    if (m_Packed) ::inflateEnd(m_Packed.get());
}

std::string PackedFile::Read() {
    if (!m_Packed) return m_Raw.empty() ? ReadRaw() : std::exchange(m_Raw, {});
    for (;;) {
        if (!m_Damage.empty()) Fail(m_Damage);
        if (m_At == m_Raw.size()) {
            m_Raw = ReadRaw();
            m_At = 0;
        }
        if (m_Raw.empty()) {
            if (!m_IsWhole) Fail("the packed data ends too early");
            return {};
        }
        if (m_IsWhole) BeginNext();
        if (auto bytes = Unpack(); !bytes.empty()) return bytes;
    }
}

std::string PackedFile::ReadRaw() {
    std::string bytes(kChunk, '\0');
    ssize_t count = -1;
    do {
        count = ::read(m_File.Get(), bytes.data(), bytes.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0) throw SystemError("file " + m_Path + " cannot be read", errno);
    bytes.resize(static_cast<std::size_t>(count));
    m_RawEnd += bytes.size();
    return bytes;
}

std::string PackedFile::Unpack() {
    std::string bytes(kChunk, '\0');
    m_Packed->next_in = reinterpret_cast<Bytef*>(m_Raw.data() + m_At);
    m_Packed->avail_in = static_cast<uInt>(m_Raw.size() - m_At);
    m_Packed->next_out = reinterpret_cast<Bytef*>(bytes.data());
    m_Packed->avail_out = static_cast<uInt>(bytes.size());
    const auto result = ::inflate(m_Packed.get(), Z_NO_FLUSH);
    m_At = m_Raw.size() - m_Packed->avail_in;
    bytes.resize(bytes.size() - m_Packed->avail_out);
    m_IsWhole = result == Z_STREAM_END;
    if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) {
        m_Damage = std::string("the packed data is damaged (") + (m_Packed->msg ? m_Packed->msg : "no memory") + ")";
    }
    return bytes;
}

void PackedFile::BeginNext() {
    // A single first byte at the end of a chunk is taken for the whole: inflate looks at the second.
    if (m_Raw[m_At] != kGzipMagic[0]) Fail("something else follows the packed data");
    ::inflateReset(m_Packed.get());
    m_IsWhole = false;
}

void PackedFile::Fail(const std::string& why) const {
    const auto at = m_RawEnd - (m_Raw.size() - m_At);
    throw Error(errors::General, "file " + m_Path + ", byte " + std::to_string(at) + ": " + why);
}

}  // namespace orvix::station
