#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "host/debug_window.h"
#include "host/services.h"

namespace orvix {

/// The driver's debug window: it carries the serial control and the simulation fields, and shows a running log. Its
/// controls are plain objects, complete without a screen; a host that shows windows attaches a view to Window(). Every
/// operation skips what fails.
class fComm {
public:
    explicit fComm(const Services& services);
    ~fComm();
    fComm(const fComm&) = delete;
    fComm& operator=(const fComm&) = delete;

    /// Called each time debug mode is set on: caption, settings key prefix "<port type>x<port address>", and the
    /// simulation fields from the settings store.
    void Init(std::int32_t PortType, const std::string& PortAddress, bool DebugMode);
    /// Shows that a task is being executed.
    void Activity(bool Active);
    /// Adds a line to the log. Once the log holds more than 30000 characters its oldest are dropped.
    void Info(const std::string& Text, bool Online, const std::optional<std::string>& State = std::nullopt);
    void DestroyOwnObjects() {}

    void Visible(bool rhs);
    /// Someone has asked to close the window: always refused, only the program unloads it.
    bool QueryUnload() const { return false; }
    /// The program unloads the window: the simulation fields are stored, if Init has ever named their keys.
    void Unload();

    /// Current text of a control. Raises MissingItem when the window has none of that name.
    const std::string& Text(const std::string& controlName) const;
    DebugWindow& Window() { return m_Window; }

    /// The line; null once released.
    std::unique_ptr<SerialControl> MSComm1;

private:
    void Changed(const std::string& controlName);
    void SetText(const std::string& controlName, const std::string& text);
    void SetChecked(const std::string& controlName, bool checked);
    void AppendToLog(const std::string& text);

    const Services& m_Services;
    DebugWindow m_Window;
    std::string m_Prefix;
    bool m_Loaded = true;
};

}  // namespace orvix
