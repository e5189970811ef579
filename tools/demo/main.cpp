// The demo's local web service and sandboxed home.
//
//   quillmarsh-demo serve [--release FILE SIGNATURE]
//                                  prints its base URL, serves until stopped;
//                                  with a release, also the hub's appcast
//   quillmarsh-demo make-home DIR  writes installed bundles into DIR
//   quillmarsh-demo serve-files DIR
//                                  serves each file of DIR at /<name>
#include "DemoData.h"
#include "support/LocalHttpService.h"

#include <QCoreApplication>
#include <QDir>
#include <QSocketNotifier>
#include <QTextStream>

#include <csignal>
#include <unistd.h>

namespace {

int usage()
{
    QTextStream(stderr) << "usage: quillmarsh-demo serve [--release FILE SIGNATURE] | serve-files DIR | make-home DIR\n";
    return 2;
}

// Quits the event loop on SIGINT/SIGTERM, so the service shuts down cleanly.
void quitOnSignals()
{
    static int fds[2];
    if (::pipe(fds) != 0)
        return;
    auto *notifier = new QSocketNotifier(fds[0], QSocketNotifier::Read, qApp);
    QObject::connect(notifier, &QSocketNotifier::activated, qApp, &QCoreApplication::quit);
    static int writeEnd = fds[1];
    auto handler = [](int) { [[maybe_unused]] auto n = ::write(writeEnd, "x", 1); };
    std::signal(SIGINT, handler);
    std::signal(SIGTERM, handler);
}

// Every file of a folder at /<name>, for trying a release loop.
int serveFiles(const QString &folder)
{
    LocalHttpService service;
    if (!service.listen())
        return 1;
    for (const QString &name : QDir(folder).entryList(QDir::Files))
        service.setFile(u'/' + name, folder + u'/' + name);
    quitOnSignals();
    QTextStream(stdout) << service.baseUrl().toString() << Qt::endl;
    return qApp->exec();
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    if (args.value(0) == QLatin1String("make-home") && args.size() == 2)
        return demo::makeHome(args[1]) ? 0 : 1;
    if (args.value(0) == QLatin1String("serve-files") && args.size() == 2)
        return serveFiles(args[1]);
    const bool withRelease = args.size() == 4 && args[1] == QLatin1String("--release");
    if (args.value(0) != QLatin1String("serve") || (args.size() != 1 && !withRelease))
        return usage();

    LocalHttpService service;
    if (!service.listen()) {
        QTextStream(stderr) << "quillmarsh-demo: cannot listen on 127.0.0.1\n";
        return 1;
    }
    demo::serveCatalogue(service);
    if (withRelease)
        demo::serveHubRelease(service, args[2], args[3]);
    quitOnSignals();
    QTextStream(stdout) << service.baseUrl().toString() << Qt::endl;
    return app.exec();
}
