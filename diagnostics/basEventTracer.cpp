#include "diagnostics/basEventTracer.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "diagnostics/printable.h"
#include "diagnostics/trace_file.h"
#include "diagnostics/viewer_output.h"
#include "host/text.h"

namespace orvix {
namespace {

constexpr std::string_view kCommand = "DebugForOutput";
constexpr std::string_view kOpenWord = "Open";
constexpr char kOpenCommand[] = "DebugForOutput Open";
constexpr char kCloseCommand[] = "DebugForOutput Close";

/// Events that come in floods.
constexpr std::array<std::string_view, 3> kRepeatableEvents = {"_Resize", "_MouseMove", "_Timer"};

bool Contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

bool IsRepeatable(const std::string& text, const TraceLayout& layout) {
    return layout.Repeatable || std::any_of(kRepeatableEvents.begin(), kRepeatableEvents.end(),
                                            [&](std::string_view event) { return Contains(text, event); });
}

class TracerState : public ApartmentState::Item {
public:
    ~TracerState() override { CloseFile(); }

    void OpenFile(const Services& services);
    /// A run that is still open ends with the file.
    void CloseFile();
    void Trace(const std::string& text, const TraceLayout& layout);

    bool On = false;
    std::string Folder;
    TraceFile File;
    ViewerOutput Viewer;  ///< attached while tracing is on

private:
    /// A piece of an entry, which ends its line or leaves it open.
    void Put(const std::string& piece, bool endsLine);
    void EmptyLines(int count);
    void CloseRun();

    struct Entry {
        std::string Text;
        int LinesAfter = 0;
    };
    Entry m_Last;
    /// Entries of the open run of repeatable entries: its first stands in the open line, the others are only counted.
    /// 0 when no run is open.
    std::int64_t m_RunCount = 0;
};

void TracerState::OpenFile(const Services& services) {
    if (File.IsOpen()) return;
    CloseRun();  // its first entry is in no file
    Attempt([&] { File.Open(services, Folder.empty() ? services.Stores.Paths().LibraryFolder() + "Log" : Folder); });
}

void TracerState::CloseFile() {
    CloseRun();
    File.Close();
}

void TracerState::Trace(const std::string& text, const TraceLayout& layout) {
    const bool repeatable = IsRepeatable(text, layout);
    if (m_RunCount > 0 && repeatable && EqualsIgnoringCase(text, m_Last.Text)) {
        ++m_RunCount;
        return;
    }
    const int linesBefore = layout.LinesBefore - m_Last.LinesAfter;
    CloseRun();

    EmptyLines(linesBefore);
    const bool continued = layout.Continue && !repeatable;
    const std::string blanks(static_cast<std::size_t>(std::max<int>(layout.Indent, 0)), ' ');
    Put(blanks + text + (continued ? ", " : ""), !continued && !repeatable);
    m_Last = {text, layout.LinesAfter};
    if (repeatable) {
        m_RunCount = 1;
    } else {
        EmptyLines(layout.LinesAfter);
    }
}

void TracerState::Put(const std::string& piece, bool endsLine) {
    Viewer.Send({piece});
    File.Write(piece);
    if (endsLine) File.EndLine();
}

void TracerState::CloseRun() {
    if (m_RunCount == 0) return;
    if (m_RunCount >= 2) {
        Put(std::to_string(m_RunCount) + "  * ", true);
    } else {
        File.EndLine();
    }
    EmptyLines(m_Last.LinesAfter);
    m_RunCount = 0;
}

void TracerState::EmptyLines(int count) {
    for (int i = 0; i < count; ++i)
        Put("", true);
}

TracerState& TracerStateOf(const Services& services) {
    return services.State.Of<TracerState>();
}

}  // namespace

void cEventTracer::LogMode(bool rhs) {
    TracerState& state = TracerStateOf(m_Services);
    if (rhs) {
        state.On = true;
        state.Viewer.Attach(m_Services);
    }
    TraceEvent(rhs ? kOpenCommand : kCloseCommand);
    state.On = rhs;
}

void cEventTracer::LogPath(const std::string& rhs) {
    TracerState& state = TracerStateOf(m_Services);
    if (state.Folder == rhs) return;
    state.Folder = rhs;
    if (!state.File.IsOpen()) return;
    state.CloseFile();
    state.OpenFile(m_Services);
}

void cEventTracer::TraceEvent(const std::string& Text, const TraceLayout& layout) {
    TracerState& state = TracerStateOf(m_Services);
    if (!state.On) return;
    if (!Contains(Text, kCommand)) {
        state.Trace(Text, layout);
    } else if (Contains(Text, kOpenWord)) {
        state.OpenFile(m_Services);
    } else {
        state.CloseFile();
    }
}

void cEventTracer::PLXTrcV(const std::string& VarName, const Variant& Value, const TraceLayout& layout) {
    if (TracerStateOf(m_Services).On) TraceEvent(VarName + "=" + PrintableText(Value), layout);
}

void cEventTracer::TraceToViewer(const VariantList& values) {
    TracerState& state = TracerStateOf(m_Services);
    if (state.On) state.Viewer.Send(values);
}

}  // namespace orvix
