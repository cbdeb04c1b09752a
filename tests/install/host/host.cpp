#include <Vantles/VTContext.h>
#include <Vantles/VTIndex.h>
#include <Vantles/VTInterface.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTXmlElement.h>
#include <Vantles/VTXmlParser.h>

#include <QApplication>
#include <QByteArray>
#include <cstdio>
#include <memory>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);

    Vantles::VTXmlParser parser;
    const QList<QObject*> roots = parser.read(QByteArray("<vantles><vantle key=\"k\"/></vantles>"));
    if (roots.size() != 1)
        return 1;
    const QString xml = static_cast<Vantles::VTXmlElement*>(roots.first())->toXml();
    qDeleteAll(roots);

    VTContext context;
    context.set(VTContextMessageThreshold, 100);
    Vantles::VTInterface vantles(context, {});

    std::printf("%s\n", xml.toUtf8().constData());
    return vantles.keys().isEmpty() ? 0 : 1;
}
