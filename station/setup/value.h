#pragma once

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace orvix::station {

/// Why a value cannot be used; where the value stands is known to who reads it.
class BadValue : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The value of an option of the command line or of a key of the configuration file. Readers raise BadValue when it is
/// another than they are asked for.
class Value {
public:
    virtual ~Value() = default;

    /// Not empty, UTF-8, without control characters.
    virtual std::string Text() const = 0;
    /// Absolute; a relative one begins at the current folder, in a file at that of the file.
    virtual std::string Path() const = 0;
    virtual bool Boolean() const = 0;
    /// Finite.
    virtual double Real() const = 0;
    virtual std::int64_t Whole(std::int64_t least, std::int64_t most) const = 0;
    /// A list of texts, none of them empty.
    virtual std::vector<std::string> Texts() const = 0;
    /// A program and its arguments. A program with a slash in its name is a path, as that of Path.
    virtual std::vector<std::string> Command() const = 0;

    /// In the grammar of ParseTimeSpan.
    std::chrono::milliseconds Span(std::chrono::milliseconds shortest, std::chrono::milliseconds longest) const;
    /// Bytes: "500MB", "2GB"; at least 1 MB.
    std::int64_t Size() const;

protected:
    [[noreturn]] static void NotWhole(std::int64_t least, std::int64_t most);
    static std::string Checked(std::string text);
};

/// A value of the command line. A flag that is there has the value "true".
class TypedValue : public Value {
public:
    explicit TypedValue(std::string text) : m_Text(std::move(text)) {}

    std::string Text() const override;
    std::string Path() const override;
    bool Boolean() const override;
    double Real() const override;
    std::int64_t Whole(std::int64_t least, std::int64_t most) const override;
    std::vector<std::string> Texts() const override { return {Text()}; }
    std::vector<std::string> Command() const override;

private:
    std::string m_Text;
};

std::string AbsolutePath(const std::string& path);

}  // namespace orvix::station
