#pragma once

#include <termios.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "station/sink/screen/layout.h"
#include "station/sink/screen/styled_line.h"

namespace orvix::station {

enum class Key { Up, Down, PageUp, PageDown, Home, End, Redraw, Quit, Other };

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/// The terminal on standard output as a screen: lines in, keys out. All members but Restore are for the thread that
/// opened it.
class Terminal {
public:
    /// Null when standard output is no terminal, one that cannot be painted on, or one that belongs to another program
    /// at present. `out` takes what is sent to it, a flush at a time.
    static std::unique_ptr<Terminal> Open(std::ostream& out);
    ~Terminal() { End(); }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Whether it shows UTF-8.
    bool IsUtf8() const { return m_IsUtf8; }
    ScreenSize Size() const;

    /// Shows these lines and nothing else; only what has changed is sent.
    void Paint(const std::vector<StyledLine>& picture);
    /// Takes the window's present size; the next painting is complete.
    void Resize();
    /// The next key that was pressed; nothing when there is none waiting.
    std::optional<Key> ReadKey();
    /// Gives the terminal back as it was.
    void End();

    /// The same in a hurry, in a signal's handler right before the program ends without End.
    void Restore() const;

private:
    explicit Terminal(std::ostream& out);
    void TakeOver() const;
    void PrepareColours();
    static void PrepareKeys();
    /// Sends what the screen library has drawn.
    void Send();

    std::ostream& m_Out;
    /// What the screen library takes for the terminal: a file in memory, since it would wait for one that is stopped.
    std::unique_ptr<std::FILE, CloseFile> m_Drawn;
    bool m_IsUtf8 = false;
    bool m_Ended = false;
    termios m_Before{};                  ///< the terminal's settings as they were
    std::string m_Restoring;             ///< what makes it an ordinary terminal again
    std::vector<unsigned> m_Attributes;  ///< by Style
};

}  // namespace orvix::station
