#pragma once

#include <span>
#include <string_view>

namespace orvix::station {

/// A file of the page, as it is in the program.
struct PageFile {
    std::string_view Path;    ///< "/app.js"
    std::string_view Type;    ///< "text/javascript; charset=utf-8"
    std::string_view ETag;    ///< of its contents, with its quotation marks
    std::string_view Packed;  ///< by gzip
    std::size_t Size;         ///< when unpacked
};

/// All files of the folder page/ and the chart library; made when the program is built.
std::span<const PageFile> PageFiles();

}  // namespace orvix::station
