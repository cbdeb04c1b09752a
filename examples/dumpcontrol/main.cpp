// Reads control files and prints each one's content tree.
#include <Vantles/VTXmlElement.h>
#include <Vantles/VTXmlParser.h>

#include <QCoreApplication>
#include <QFile>
#include <QTextStream>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);

    const QStringList files = app.arguments().mid(1);
    if (files.isEmpty()) {
        err << "usage: vantles-dumpcontrol FILE.xml...\n";
        return 2;
    }

    int status = 0;
    for (const QString& path : files) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            err << "Cannot open " << path << ": " << file.errorString() << '\n';
            status = 1;
            continue;
        }
        Vantles::VTXmlParser parser;
        const QList<QObject*> roots = parser.read(&file);
        out << "== " << path << '\n';
        for (QObject* root : roots) {
            if (auto element = qobject_cast<Vantles::VTXmlElement*>(root))
                out << element->toXml() << '\n';
        }
        qDeleteAll(roots);
    }
    return status;
}
