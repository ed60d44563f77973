#pragma once

#include <PackageKit/Transaction>

/**
 * What the transactions pass to the daemon and compare its answers with. The daemon's
 * backend and other parts of the system know these values as numbers, so the numbers are
 * pinned here.
 */
namespace Package::PkgKit {

using PkTransaction = PackageKit::Transaction;

constexpr auto FilterAll = PkTransaction::FilterNone;
constexpr auto FilterInstalled = PkTransaction::FilterInstalled;

inline PkTransaction::Filters filterInstalledBinary()
{
    return PkTransaction::FilterInstalled | PkTransaction::FilterNotSource;
}

inline PkTransaction::Filters filterNewestNotInstalled()
{
    return PkTransaction::FilterNotInstalled | PkTransaction::FilterNewest
        | PkTransaction::FilterNotSource;
}

inline PkTransaction::Filters filterNewest()
{
    return PkTransaction::FilterNotDevel | PkTransaction::FilterNewest
        | PkTransaction::FilterNotSource;
}

inline PkTransaction::Filters filterNewestInstalled()
{
    return filterNewest() | PkTransaction::FilterInstalled;
}

constexpr auto FlagTrusted = PkTransaction::TransactionFlagOnlyTrusted;

inline PkTransaction::TransactionFlags flagsDownload()
{
    return PkTransaction::TransactionFlagOnlyTrusted | PkTransaction::TransactionFlagOnlyDownload;
}

/** Percentage that stands for an unknown amount. */
constexpr uint PercentageUnknown = 101;

static_assert(PkTransaction::FilterNone == 0x2);
static_assert(PkTransaction::FilterInstalled == 0x4);
static_assert(PkTransaction::FilterNotInstalled == 0x8);
static_assert(PkTransaction::FilterNotDevel == 0x20);
static_assert(PkTransaction::FilterNewest == 0x10000);
static_assert(PkTransaction::FilterNotSource == 0x200000);
static_assert(PkTransaction::TransactionFlagOnlyTrusted == 2);
static_assert(PkTransaction::TransactionFlagOnlyDownload == 8);
static_assert(PkTransaction::RoleRepoEnable == 15);
static_assert(PkTransaction::InfoInstalled == 1);
static_assert(PkTransaction::ExitUnknown == 0);
static_assert(PkTransaction::ExitSuccess == 1);
static_assert(PkTransaction::ExitFailed == 2);
static_assert(PkTransaction::ExitCancelled == 3);
static_assert(PkTransaction::ErrorPackageConflicts == 36);
static_assert(PkTransaction::ErrorNoDistroUpgradeData == 44);
static_assert(PkTransaction::ErrorNoSpaceOnDevice == 46);
static_assert(PkTransaction::StatusRefreshCache == 7);
static_assert(PkTransaction::StatusDownload == 8);
static_assert(PkTransaction::StatusInstall == 9);
static_assert(PkTransaction::UpgradeKindMinimal == 1);
static_assert(PkTransaction::UpgradeKindComplete == 3);

} // namespace Package::PkgKit
