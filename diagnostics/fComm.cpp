#include "diagnostics/fComm.h"

#include <array>
#include <cstddef>
#include <map>

#include "host/error.h"
#include "host/text.h"

namespace orvix {
namespace {

constexpr char kSettingsSection[] = "Sym";

/// The log is cut back to about this many characters when it has become longer.
constexpr std::size_t kLogLength = 30000;

struct SimulationField {
    const char* Control;
    const char* Key;  ///< in front of the port's prefix
    const char* Default;
};

constexpr std::array<SimulationField, 4> kSimulationFields = {{
    {"txtSymDelay", "SymDelay", "0"},
    {"txtSymMin", "SymMin", "-40.0"},
    {"txtSymMax", "SymMax", "84.9"},
    {"txtSymDig", "SymDig", "255"},
}};

struct ControlRow {
    const char* Name;
    ControlKind Kind;
    const char* Text = "";
    const char* Label = "";
    const char* Font = "";
};

constexpr ControlRow kControls[] = {
    {"fraSimulation", ControlKind::Frame, "Simulation"},
    {"txtSymDelay", ControlKind::TextBox, "0.0", "Delay:"},
    {"txtSymMin", ControlKind::TextBox, "0.0", "Min:"},
    {"txtSymMax", ControlKind::TextBox, "0.0", "Max:"},
    {"txtSymDig", ControlKind::TextBox, "0.0", "Dig:"},
    {"txtInfo", ControlKind::TextBox, "", "", "Terminal"},
    {"lblinfo", ControlKind::Label},
    {"chkOnline", ControlKind::CheckBox, "Online"},
    {"chkDebugMode", ControlKind::CheckBox, "Debug Mode"},
    {"chkEvents", ControlKind::CheckBox, "Events"},
    {"chkDebugAltOnReceive", ControlKind::CheckBox, "Alt on receive"},
    {"lblThreadID", ControlKind::Label, "", "Thread:"},
    {"lblStatus", ControlKind::Label, "CNN STATE"},
};

std::map<std::string, Control> CreateControls() {
    std::map<std::string, Control> controls;
    for (const ControlRow& row : kControls) {
        Control& control = controls[row.Name];
        control.Kind = row.Kind;
        control.Text = row.Text;
        control.Label = row.Label;
        control.Font = row.Font;
    }
    return controls;
}

}  // namespace

fComm::fComm(const Services& services) : m_Services(services) {
    m_Window.Font = "Tahoma";
    m_Window.Controls = CreateControls();
    SetText("lblThreadID", NumberText(m_Services.Apartment.ThreadID()));
    Attempt([&] { MSComm1 = m_Services.Line.CreateSerialControl(); });
    Attempt([&] { m_Services.Reports.WindowLoaded(m_Window); });
}

fComm::~fComm() {
    Unload();
}

void fComm::Init(std::int32_t PortType, const std::string& PortAddress, bool DebugMode) {
    m_Window.Caption = " Debug Driver on port " + PortAddress;
    Changed("");
    Attempt([&] { m_Prefix = m_Services.Stores.Paths().PortAddressText(PortType, PortAddress); });
    SetChecked("chkDebugMode", DebugMode);
    SetChecked("chkEvents", true);
    for (const auto& field : kSimulationFields) {
        Attempt([&] {
            SetText(field.Control, m_Services.Stores.Settings().GetSetting(kLibraryName, kSettingsSection,
                                                                           field.Key + m_Prefix, field.Default));
        });
    }
}

void fComm::Activity(bool Active) {
    m_Window.Controls["lblThreadID"].Highlighted = Active;
    Changed("lblThreadID");
}

void fComm::Info(const std::string& Text, bool Online, const std::optional<std::string>& State) {
    AppendToLog(Text);
    SetText("lblinfo", Text);
    SetChecked("chkOnline", Online);
    if (State) SetText("lblStatus", *State);
}

void fComm::AppendToLog(const std::string& text) {
    Control& log = m_Window.Controls["txtInfo"];
    if (log.Text.size() > kLogLength) {
        // A text that leaves no room for the log's tail cannot be added; the log stays as it is.
        if (text.size() > kLogLength) return;
        log.Text.erase(0, log.Text.size() - (kLogLength - text.size()));
    }
    log.Text += kLineBreak + text;
    log.Caret = log.Text.size();
    Changed("txtInfo");
}

void fComm::Visible(bool rhs) {
    m_Window.Visible = rhs;
    Changed("");
}

void fComm::Unload() {
    if (!m_Loaded) return;
    m_Loaded = false;
    if (!m_Prefix.empty()) {
        for (const auto& field : kSimulationFields) {
            Attempt([&] {
                m_Services.Stores.Settings().SaveSetting(kLibraryName, kSettingsSection, field.Key + m_Prefix,
                                                         Text(field.Control));
            });
        }
    }
    DestroyOwnObjects();
    Attempt([&] { m_Services.Reports.WindowUnloaded(m_Window); });
}

const std::string& fComm::Text(const std::string& controlName) const {
    const auto found = m_Window.Controls.find(controlName);
    if (found == m_Window.Controls.end()) {
        throw Error(errors::MissingItem, "The debug window has no control \"" + controlName + "\"");
    }
    return found->second.Text;
}

void fComm::SetText(const std::string& controlName, const std::string& text) {
    m_Window.Controls[controlName].Text = text;
    Changed(controlName);
}

void fComm::SetChecked(const std::string& controlName, bool checked) {
    m_Window.Controls[controlName].Checked = checked;
    Changed(controlName);
}

void fComm::Changed(const std::string& controlName) {
    if (m_Window.Changed) Attempt([&] { m_Window.Changed(controlName); });
}

}  // namespace orvix
