#pragma once

#include <functional>

#include "station/run/health.h"

namespace orvix::station {

// What can be seen of a bus and of its addresses. Of so little as an accident now and then nothing is concluded.

bool IsNotable(std::uint64_t count, const Tally& of);
std::uint64_t OwnFailures(const Tally& tally);
bool IsSilent(const AddressHealth& address, const BusHealth& bus);
bool AreDamaged(const Tally& tally);
bool AreHardlyEverGood(const Tally& tally);
/// Whether answers bear another address, and not because of damage, which seldom hits that alone.
bool BearOtherAddress(const Tally& tally);
bool AreDoubled(const Tally& tally);
/// Whether answers come late, and not because damage makes some look so.
bool AreTooLate(const Tally& tally);
bool HaveNoValue(const Tally& tally);
bool AreDoubtful(const Tally& tally);
/// Whether something holds of all addresses of a bus that answer, which must be several.
bool OnEveryAddress(const BusHealth& bus, const std::function<bool(const Tally&)>& holds);
Tally RecentOf(const BusHealth& bus);
bool IsPortUnusable(const BusHealth& bus);
bool IsPortGone(const BusHealth& bus);
bool IsPortUnsteady(const BusHealth& bus);
bool NoneAnswers(const BusHealth& bus);
bool IsIdleLineNoisy(const BusHealth& bus);
/// What another master sends may look like an echo.
bool Echoes(const BusHealth& bus);
bool IsNoisy(const BusHealth& bus);
bool AllTimeOut(const BusHealth& bus);
/// Whether the answers of all addresses come damaged, also while there are too few of each to be sure of one.
bool AreAllDamaged(const BusHealth& bus);
/// Whether at least one answer of ten, of which there must be some, nearly misses the time-out.
bool AnswersLate(const Tally& recent, const BusHealth& bus);
bool AllAnswerLate(const BusHealth& bus);
/// The period of the address that is read least often, of those that answer; zero while that cannot be told.
Duration LongestPeriod(const BusHealth& bus);
bool IsTooSlow(const BusHealth& bus);
/// Whether a device refuses so much that it is not the one that is asked for.
bool RefusesMost(const AddressHealth& address, const BusHealth&);
bool RefusesSome(const AddressHealth& address, const BusHealth&);
bool IsOnlyOneAndSilent(const AddressHealth& address, const BusHealth& bus);
bool StoppedAnswering(const AddressHealth& address, const BusHealth& bus);
bool IsNoisyAround(const AddressHealth& address, const BusHealth&);
bool OftenFails(const AddressHealth& address, const BusHealth&);

}  // namespace orvix::station
