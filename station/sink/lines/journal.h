#pragma once

namespace orvix::station {

/// Whether standard error goes to the system's journal.
bool ErrorsGoToJournal();

}  // namespace orvix::station
