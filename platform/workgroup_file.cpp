#include "platform/workgroup_file.h"

#include <algorithm>
#include <cctype>
#include <sstream>
#include <string_view>

#include "host/error.h"
#include "host/text.h"
#include "platform/atomic_file.h"
#include "platform/random_text.h"
#include "platform/regular_file.h"
#include "platform/sqlite_connection.h"

namespace orvix::platform {

namespace {

constexpr char kHeading[] = "OrvixWorkgroup 1";
constexpr char kUser[] = "User=";
constexpr char kPassword[] = "Password=";
constexpr std::size_t kAccountLength = 9;

std::string FormatAccount(const DatabaseAccount& account) {
    return std::string(kHeading) + "\n" + kUser + account.User + "\n" + kPassword + account.Password + "\n";
}

std::string AfterLabel(const std::string& line, std::string_view label) {
    return line.substr(std::min(label.size(), line.size()));
}

bool IsAccountText(const std::string& text) {
    return text.size() == kAccountLength &&
           std::all_of(text.begin(), text.end(), [](unsigned char character) { return std::isalnum(character) != 0; });
}

}  // namespace

DatabaseAccount ReadWorkgroupFile(const std::string& file) {
    constexpr std::size_t kLargestFile = 1024;
    const std::string text = BytesToText(ReadRegularFile(file, kLargestFile));
    std::istringstream lines(text);
    std::string heading;
    std::string user;
    std::string password;
    std::getline(std::getline(std::getline(lines, heading), user), password);
    DatabaseAccount account{AfterLabel(user, kUser), AfterLabel(password, kPassword)};
    if (!IsAccountText(account.User) || !IsAccountText(account.Password) || text != FormatAccount(account)) {
        throw UnusableDatabase(errors::General, "workgroup file " + file + " holds no account");
    }
    return account;
}

void WriteWorkgroupFile(const std::string& file, const DatabaseAccount& account) {
    WriteFileAtomically(file, TextToBytes(FormatAccount(account)), kOwnerOnly);
}

DatabaseAccount NewAccount() {
    return {RandomText(kAccountLength), RandomText(kAccountLength)};
}

}  // namespace orvix::platform
