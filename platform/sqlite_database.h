#pragma once

#include <memory>
#include <string>
#include <utility>

#include "host/database.h"

namespace orvix::platform {

/// The host database as a SQLite file with user_version 1 and the tables
///     devices(address, model, serial), plant_names(serial, name), messages(number, text).
/// It opens only to the account of its workgroup file (workgroup_file.h). Any number of connections, also of other
/// threads and processes, may be open at once; one connection belongs to one thread.
class SqliteDatabase : public Database {
public:
    explicit SqliteDatabase(DatabaseAccount account) : m_Account(std::move(account)) {}

    std::shared_ptr<HostDatabase> CreateConnection() override;
    /// The connection must be one of this class, else General is raised.
    std::unique_ptr<SQLDevices> CreateDevices(std::shared_ptr<HostDatabase> connection) override;
    std::unique_ptr<SQLPlantDevices> CreatePlantDevices(std::shared_ptr<HostDatabase> connection) override;
    DatabaseAccount Account() override { return m_Account; }

private:
    DatabaseAccount m_Account;
};

/// Makes a folder ready as the host's data folder and returns the account of its database. The folder, the database and
/// a random account are made when missing; the message table is brought up to date. Files are readable by their owner
/// only. Several processes may do this at once. Raises General with one sentence that names the folder or the file that
/// stands in the way, as an UnusableDatabase when that is what a file holds; what is there already is never replaced.
DatabaseAccount PrepareHostDatabase(const std::string& folder);

}  // namespace orvix::platform
