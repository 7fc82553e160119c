#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "host/error.h"
#include "host/text.h"
#include "tests/support/test_host.h"

namespace orvix::tests {

namespace {

struct MemoryFile : AppendFile {
    explicit MemoryFile(std::string& contents) : m_Contents(contents) {}
    void Append(const std::string& text) override { m_Contents += text; }
    std::string& m_Contents;
};

std::string Joined(const VariantList& values) {
    std::string line;
    for (const Variant& value : values)
        line += value.ToText() + '|';
    return line + '\n';
}

std::string OrNone(const std::optional<double>& limit) {
    return limit ? NumberText(*limit) : "none";
}

struct MemoryReport : ReportWriter {
    MemoryReport(std::map<std::string, std::string>& files, std::string refusal)
        : m_Files(files), m_Refusal(std::move(refusal)) {}

    std::string Open(const std::string& path) override {
        m_Path = path;
        return m_Refusal;
    }
    void PageSetup(const ReportPageSetup& setup) override {
        m_Text += "page " + Joined({setup.LeftCm, setup.RightCm, setup.TopCm, setup.BottomCm, setup.HeadingHeight,
                                    setup.RowHeight});
    }
    void Font(ReportFont use, const std::string& family, double points) override {
        m_Text += "font " + Joined({static_cast<std::int32_t>(use), family, points});
    }
    void Title(const std::string& title) override { m_Text += "title " + title + '\n'; }
    void HeaderLine(const std::string& text) override { m_Text += text + '\n'; }
    void ColumnHeadings(const std::vector<std::string>& headings) override { Row({headings.begin(), headings.end()}); }
    void Row(VariantList cells) override { m_Text += Joined(cells); }
    void Plot(const ReportPlot& plot) override {
        m_Text +=
            "plot " + Joined({static_cast<std::int32_t>(plot.TimeColumn), static_cast<std::int32_t>(plot.ValueColumn),
                              plot.Unit, OrNone(plot.HighLimit), OrNone(plot.LowLimit)});
    }
    void Close() override { m_Files[m_Path] = m_Text; }

    std::map<std::string, std::string>& m_Files;
    std::string m_Refusal;
    std::string m_Path;
    std::string m_Text;
};

std::string WithoutSlash(const std::string& folder) {
    return folder.substr(0, folder.find_last_not_of('/') + 1);
}

}  // namespace

std::string MemoryStores::GetSetting(const std::string& application, const std::string& section, const std::string& key,
                                     const std::string& defaultValue) {
    const auto found = SettingValues.find(application + "/" + section + "/" + key);
    return found == SettingValues.end() ? defaultValue : found->second;
}

void MemoryStores::SaveSetting(const std::string& application, const std::string& section, const std::string& key,
                               const std::string& value) {
    SettingValues[application + "/" + section + "/" + key] = value;
}

ByteArray MemoryStores::ReadAll(const std::string& path) {
    const auto found = FileContents.find(path);
    if (found == FileContents.end()) throw SystemError(path, ENOENT);
    return TextToBytes(found->second);
}

bool MemoryStores::FolderExists(const std::string& path) {
    return std::ranges::count(Folders, WithoutSlash(path), WithoutSlash) > 0;
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

}  // namespace orvix::tests
