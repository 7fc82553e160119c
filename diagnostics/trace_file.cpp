#include "diagnostics/trace_file.h"

#include "host/characters.h"

namespace orvix {

void TraceFile::Open(const Services& services, const std::string& folder) {
    m_Files = &services.Stores.Files();
    Attempt([&] {
        if (!m_Files->FolderExists(folder)) m_Files->CreateFolder(folder);
    });
    Attempt([&] {
        const bool separated = folder.ends_with('/') || folder.ends_with('\\');
        m_Path = folder + (separated ? "" : "/") + Format(services.Apartment.DateNow(), "yyyy-mm-dd") + ".log";
    });
}

void TraceFile::Close() {
    if (!m_OpenLine.empty()) EndLine();
    m_File.reset();
    m_Path.clear();
}

void TraceFile::Write(const std::string& text) {
    if (IsOpen()) m_OpenLine += text;
}

void TraceFile::EndLine() {
    if (!IsOpen()) return;
    m_OpenLine = Harmless(m_OpenLine) + "\n";
    Attempt([&] {
        if (!m_File) m_File = m_Files->OpenAppend(m_Path);
        m_File->Append(m_OpenLine);
    });
    m_OpenLine.clear();
}

}  // namespace orvix
