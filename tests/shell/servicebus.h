#pragma once

#include "buscall.h"
#include "bussignal.h"

#include <QJsonObject>
#include <QVariantList>

#include <memory>

/** The service as callers on the session bus have it, and what tests tell simulators. */
namespace ServiceBus {

extern const QString name;
extern const BusTarget target;

/** Somebody is the service. */
[[nodiscard]] bool isOwned();
/** Calls @p method from this process; fails the test on an error. @return the results. */
QVariantList call(const char *method, const QVariantList &arguments = {});
/** Collects a signal of the service; the caller's. */
[[nodiscard]] std::unique_ptr<BusSignal> listen(const char *signal);

} // namespace ServiceBus

/** The object of a literal in JSON; the test ends where it is none. */
[[nodiscard]] QJsonObject json(const QByteArray &text);
