#pragma once

class PackageDaemon;
class PhonePackages;
class SimulatorControl;

/**
 * Registers the verbs of the remote control, beside those that every simulator has:
 *
 *     reset                                     the phone as from the factory, no faults
 *     state                                     installed, repositories, release, transactions
 *     script    a Fault                         see faults.h
 *     foreign   role, ms                        a transaction of somebody else
 *     timing    download, install, remove, refresh, upgrade-download, upgrade-install,
 *               destroy                         milliseconds
 *     install   name [version]                  at once and without a transaction
 *     remove    name
 *     stale     name [version], level           unseen until a refresh of that level:
 *                                               1 repository, 2 forced, 3 all repositories
 *     repository  name, enabled                 switches a repository
 *     many      count                           so many more rows of installed packages
 *     upgrade-size  download, install, remove   bytes
 *     rdm-modify-repo  action, name             1 add, 2 remove, 3 enable, 4 disable
 *     rdm-update-repos                          carries out what was modified
 *     rdm-release      release                  which version package is on offer
 *     offer-release    release                  that version package whatever the release;
 *                                               empty ends it
 *
 * All objects outlive the control.
 */
void registerControlVerbs(SimulatorControl &control, PackageDaemon &daemon, PhonePackages &phone);
