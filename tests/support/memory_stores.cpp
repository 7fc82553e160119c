#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "host/error.h"
#include "host/text.h"
#include "tests/support/test_host.h"

namespace orvix::tests {

namespace {

class MemoryFile : public AppendFile {
public:
    explicit MemoryFile(std::string& contents) : m_Contents(contents) {}
    void Append(const std::string& text) override { m_Contents += text; }

private:
    std::string& m_Contents;
};

std::string OrNone(const std::optional<double>& limit) {
    return limit ? NumberText(*limit) : "none";
}

class MemoryReport : public ReportWriter {
public:
    MemoryReport(std::map<std::string, std::string>& files, std::string refusal)
        : m_Files(files), m_Refusal(std::move(refusal)) {}

    std::string Open(const std::string& path) override {
        m_Path = path;
        return m_Refusal;
    }
    void PageSetup(const ReportPageSetup& setup) override {
        for (const double measure :
             {setup.LeftCm, setup.RightCm, setup.TopCm, setup.BottomCm, setup.HeadingHeight, setup.RowHeight}) {
            m_Text += NumberText(measure) + ' ';
        }
        m_Text += '\n';
    }
    void Font(ReportFont use, const std::string& family, double points) override {
        m_Text += (use == ReportFont::Title ? "title " : "") + family + ' ' + NumberText(points) + '\n';
    }
    void Title(const std::string& title) override { m_Text += "title " + title + '\n'; }
    void HeaderLine(const std::string& text) override { m_Text += text + '\n'; }
    void ColumnHeadings(const std::vector<std::string>& headings) override { Row({headings.begin(), headings.end()}); }
    void Row(VariantList cells) override {
        for (const Variant& cell : cells)
            m_Text += cell.ToText() + '|';
        m_Text += '\n';
    }
    void Plot(const ReportPlot& plot) override {
        m_Text += "limits " + OrNone(plot.HighLimit) + ' ' + OrNone(plot.LowLimit) + '\n';
    }
    void Close() override { m_Files[m_Path] = m_Text; }

private:
    std::map<std::string, std::string>& m_Files;
    std::string m_Refusal;
    std::string m_Path;
    std::string m_Text;
};

std::string SettingName(const std::string& application, const std::string& section, const std::string& key) {
    return application + "/" + section + "/" + key;
}

std::string WithoutSlash(const std::string& folder) {
    return folder.substr(0, folder.find_last_not_of('/') + 1);
}

}  // namespace

std::string MemoryStores::GetSetting(const std::string& application, const std::string& section, const std::string& key,
                                     const std::string& defaultValue) {
    const auto found = SettingValues.find(SettingName(application, section, key));
    return found == SettingValues.end() ? defaultValue : found->second;
}

void MemoryStores::SaveSetting(const std::string& application, const std::string& section, const std::string& key,
                               const std::string& value) {
    SettingValues[SettingName(application, section, key)] = value;
}

ByteArray MemoryStores::ReadAll(const std::string& path) {
    const auto found = FileContents.find(path);
    if (found == FileContents.end()) throw SystemError(path, ENOENT);
    return TextToBytes(found->second);
}

bool MemoryStores::FolderExists(const std::string& path) {
    return std::any_of(Folders.begin(), Folders.end(),
                       [&](const std::string& folder) { return WithoutSlash(folder) == WithoutSlash(path); });
}

void MemoryStores::CreateFolder(const std::string& path) {
    if (FoldersCannotBeCreated) throw SystemError(path, EACCES);
    Folders.push_back(path);
}

std::unique_ptr<AppendFile> MemoryStores::OpenAppend(const std::string& path) {
    if (FilesCannotBeWritten) throw SystemError(path, EACCES);
    return std::make_unique<MemoryFile>(FileContents[path]);
}

std::unique_ptr<ReportWriter> MemoryStores::CreateReportWriter() {
    return std::make_unique<MemoryReport>(FileContents, ReportRefusal);
}

void MemoryStores::WriteWhole(const std::string& path, ByteView contents) {
    if (FilesCannotBeWritten) throw SystemError(path, ENOSPC);
    FileContents[path] = BytesToText(contents);
}

void MemoryStores::Delete(const std::string& path) {
    if (FileContents.erase(path) == 0) throw SystemError(path, ENOENT);
}

std::string MemoryStores::Normalise(const std::string& folder) {
    return WithoutSlash((std::filesystem::path("/") / folder).lexically_normal().string()) + "/";
}

std::string MemoryStores::DisplayName(const std::string& file) {
    return std::filesystem::path(file).stem().string();
}

std::string MemoryStores::PortAddressText(std::int32_t portType, const std::string& portAddress) {
    return std::to_string(portType) + "x" + portAddress;
}

}  // namespace orvix::tests
