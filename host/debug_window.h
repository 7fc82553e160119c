#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace orvix {

enum class ControlKind { Frame, TextBox, Label, CheckBox };

/// A control of a window, complete without a screen.
struct Control {
    ControlKind Kind = ControlKind::Label;
    std::string Text;   ///< text of a box or label, caption of a frame or check box
    std::string Label;  ///< text of the label in front of it
    std::string Font;   ///< empty: the window's font
    bool Checked = false;
    bool Highlighted = false;  ///< background red instead of the system's button face
    std::size_t Caret = 0;     ///< position in the text; the view scrolls it into sight
};

/// What a view needs to show a window: its controls by name, and word of each change.
struct DebugWindow {
    std::string Caption;
    std::string Font;
    bool Visible = false;
    std::map<std::string, Control> Controls;
    /// Set by the view; called with the name of the control that has changed, empty for the window itself.
    std::function<void(const std::string& controlName)> Changed;
};

}  // namespace orvix
