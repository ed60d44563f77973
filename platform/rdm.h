#pragma once

#include <QString>
#include <QStringList>

/**
 * The platform's release manager: which OS release the device is on and where its packages
 * come from. Answers come from the device's configuration, read anew by each call.
 */
class Rdm
{
public:
    /** Bit of deviceMode(): repositories are not isolated and the release isn't switched. */
    static constexpr int DeviceModeNoIsolation = 2;

    Rdm();

    /** Domain of the store that the device is registered with. */
    [[nodiscard]] QString domain() const;
    /** Bits that tell the device's mode. */
    [[nodiscard]] int deviceMode() const;
    /** The release in use. @param rnd the release of the development channel instead. */
    [[nodiscard]] QString release(bool rnd) const;
    /** Sets the release, where this process may. */
    void setRelease(const QString &release, bool rnd);
};

/** The repositories that the release manager knows. */
class RdmRepoManager
{
public:
    RdmRepoManager() = delete;

    /**
     * Names of repositories, in the release manager's order.
     * @param modeTwo those of the device mode without isolation.
     * @param filter 2 for those that the operating system requires; nothing else is known.
     */
    [[nodiscard]] static QStringList repos(bool modeTwo, int filter);
};

/** Facts about the device. */
class RdmDeviceInfo
{
public:
    RdmDeviceInfo() = delete;

    [[nodiscard]] static QString deviceModel();
    /** The device's unique number, such as an IMEI. */
    [[nodiscard]] static QString deviceUid();
};
