#include <zlib.h>

#include <algorithm>

#include "station/door/answers.h"
#include "station/door/page_files.h"
#include "station/door/problem.h"

namespace orvix::station {
namespace {

// What zlib adds to the size of its window for a gzip header.
constexpr int kGzipWindow = MAX_WBITS + 16;

std::string Unpacked(const PageFile& file) {
    std::string text(file.Size, '\0');
    z_stream stream{};
    // It only reads them.
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(file.Packed.data()));
    stream.avail_in = static_cast<uInt>(file.Packed.size());
    stream.next_out = reinterpret_cast<Bytef*>(text.data());
    stream.avail_out = static_cast<uInt>(text.size());
    if (::inflateInit2(&stream, kGzipWindow) != Z_OK) throw ProblemError(500, "a file of the page cannot be unpacked");
    const int result = ::inflate(&stream, Z_FINISH);
    ::inflateEnd(&stream);
    if (result != Z_STREAM_END) throw ProblemError(500, "a file of the page cannot be unpacked");
    return text;
}

HttpResponse FileResponse(const HttpRequest& request, const std::string& path) {
    const auto files = PageFiles();
    const auto file = std::find_if(files.begin(), files.end(), [&](const PageFile& one) { return one.Path == path; });
    if (file == files.end()) throw ProblemError(404, "there is nothing at " + request.Path);
    HttpResponse response;
    response.Headers = {{"Content-Type", std::string(file->Type)},
                        {"ETag", std::string(file->ETag)},
                        {"Cache-Control", "no-cache"},
                        {"Vary", "Accept-Encoding"}};
    if (request.Header("if-none-match").find(file->ETag) != std::string::npos) {
        response.Status = 304;
    } else if (request.Header("accept-encoding").find("gzip") != std::string::npos) {
        response.Headers.emplace_back("Content-Encoding", "gzip");
        response.Lasting = file->Packed;
    } else {
        response.Body = Unpacked(*file);
    }
    return response;
}

}  // namespace

HttpResponse AnswerOpenApi(const StationView& /*station*/, const Question& question) {
    return FileResponse(question.Request, "/openapi.json");
}

HttpResponse AnswerPage(const StationView& /*station*/, const Question& question) {
    const auto& request = question.Request;
    return FileResponse(request, request.Path == "/" ? "/index.html" : request.Path);
}

}  // namespace orvix::station
