#include "kioskclient.h"
#include "mdeclarativecache.h"

#include <QGuiApplication>
#include <QLocale>
#include <QTranslator>

namespace {

const QLatin1String translations("/usr/share/translations");

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication *application = MDeclarativeCache::qApplication(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);

    // English first, so that an id always has a text; what is installed later wins. An empty
    // suffix has to be a null one here: with any other nothing is found.
    auto *english = new QTranslator;
    (void)english->load(QStringLiteral("orvik-store_eng_en"), translations, QString(), QString());
    QCoreApplication::installTranslator(english);
    auto *translator = new QTranslator;
    (void)translator->load(QLocale(), QStringLiteral("orvik-store"), QStringLiteral("-"),
                           translations, QString());
    QCoreApplication::installTranslator(translator);

    int status = 0;
    {
        QStringList arguments;
        for (int i = 1; i < argc; ++i)
            arguments.append(QString::fromUtf8(argv[i]));
        KioskClient client(arguments);
        if (client.hasService())
            status = QGuiApplication::exec();
    }
    delete translator;
    delete english;
    delete application;
    return status;
}
