// Loads the packages of a data folder the way a host does, lists every
// control key and prints the content of one key in two locales.
//
//   vantles-dumpcontent DATA_FOLDER [KEY]
#include <Vantles/VTContext.h>
#include <Vantles/VTIndex.h>
#include <Vantles/VTInterface.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTXmlElement.h>

#include <QApplication>
#include <QDir>
#include <QLocale>
#include <QTextStream>

#include <memory>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);

    const QStringList arguments = app.arguments().mid(1);
    if (arguments.isEmpty()) {
        err << "usage: vantles-dumpcontent DATA_FOLDER [KEY]\n";
        return 2;
    }
    const QString dataFolder = QDir(arguments.at(0)).absolutePath();
    const QString key = arguments.value(1, QStringLiteral("actionOpen"));

    VTContext context;
    context.set(VTContextKeyDataFile, QDir(dataFolder).filePath(QStringLiteral("VantleKeys.xml")));
    Vantles::VTInterface vantles(context, { dataFolder });
    Vantles::VTIndex* index = vantles.manager()->index();

    out << "Control keys in " << dataFolder << ":\n";
    for (const QString& k : vantles.keys())
        out << "  " << k << '\n';

    for (const QString& localeName : { QStringLiteral("en_US"), QStringLiteral("fr_FR") }) {
        QString location;
        int depth = 0;
        Vantles::VTXmlElement* root = nullptr;
        Vantles::VTXmlElement* vantle = index->retrieve(key, QLocale(localeName), location, depth, root);
        out << "\n" << key << " in " << localeName << ":\n";
        if (!vantle) {
            out << "  (no content)\n";
            continue;
        }
        out << vantle->toXml(2) << '\n';
        const auto title = vantle->childElement(QStringLiteral("title"));
        if (title)
            out << "  title: " << title->content() << '\n';
        delete root;
    }
    return 0;
}
