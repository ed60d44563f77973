// Makes one call on a bus, for callAs(): reads it from standard input and writes the answer
// to standard output, both as a QDataStream.

#include <QCoreApplication>
#include <QDataStream>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QFile>

#include <cstdio>

namespace {

QVariant toPlain(const QVariant &value);

QVariant readPlain(const QDBusArgument &argument)
{
    switch (argument.currentType()) {
    case QDBusArgument::BasicType:
    case QDBusArgument::VariantType:
        return toPlain(argument.asVariant());
    case QDBusArgument::ArrayType:
    case QDBusArgument::StructureType: {
        const bool array = argument.currentType() == QDBusArgument::ArrayType;
        QVariantList list;
        array ? argument.beginArray() : argument.beginStructure();
        while (!argument.atEnd())
            list.append(readPlain(argument));
        array ? argument.endArray() : argument.endStructure();
        return list;
    }
    case QDBusArgument::MapType: {
        QVariantMap map;
        argument.beginMap();
        while (!argument.atEnd()) {
            argument.beginMapEntry();
            const QString key = readPlain(argument).toString();
            map.insert(key, readPlain(argument));
            argument.endMapEntry();
        }
        argument.endMap();
        return map;
    }
    default:
        return {};
    }
}

/** @p value without the toolkit's bus types, which no stream can carry. */
QVariant toPlain(const QVariant &value)
{
    if (value.userType() == qMetaTypeId<QDBusArgument>())
        return readPlain(value.value<QDBusArgument>());
    if (value.userType() == qMetaTypeId<QDBusVariant>())
        return toPlain(value.value<QDBusVariant>().variant());
    if (value.userType() == qMetaTypeId<QDBusObjectPath>())
        return value.value<QDBusObjectPath>().path();
    return value;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QFile input;
    QFile output;
    if (!input.open(stdin, QIODevice::ReadOnly) || !output.open(stdout, QIODevice::WriteOnly))
        return 1;

    bool systemBus = false;
    QString service;
    QString path;
    QString interface;
    QString method;
    QVariantList arguments;
    int timeout = 0; // milliseconds
    QDataStream request(input.readAll());
    request >> systemBus >> service >> path >> interface >> method >> arguments >> timeout;
    if (request.status() != QDataStream::Ok)
        return 1;

    const QDBusConnection bus =
        systemBus ? QDBusConnection::systemBus() : QDBusConnection::sessionBus();
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, method);
    call.setArguments(arguments);
    const QDBusMessage reply = bus.call(call, QDBus::Block, timeout);
    QVariantList values;
    if (reply.type() == QDBusMessage::ReplyMessage) {
        const QVariantList received = reply.arguments();
        for (const QVariant &value : received)
            values.append(toPlain(value));
    }
    QDataStream answer(&output);
    answer << reply.errorName() << reply.errorMessage() << reply.signature() << values;
    return 0;
}
