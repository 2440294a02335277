#include "alocalizedplugin.h"

#include <QCoreApplication>
#include <QTranslator>

namespace Core::Plugin {

ALocalizedPlugin::ALocalizedPlugin() = default;

ALocalizedPlugin::~ALocalizedPlugin()
{
    if (m_pTranslator)
        QCoreApplication::removeTranslator(m_pTranslator);
    delete m_pTranslator;
}

QString ALocalizedPlugin::catalogueName(const QString& className, const QString& language)
{
    QString name = className.mid(className.lastIndexOf(QLatin1String("::")) + 1);
    if (name.startsWith(QLatin1Char(':')))
        name.remove(0, 1);
    if (name.size() > 1 && name.startsWith(QLatin1Char('C')) && name.at(1).isUpper())
        name.remove(0, 1);
    if (name.endsWith(QLatin1String("Plugin")))
        name.chop(6);
    return QStringLiteral(":/translation/%1_%2.qm").arg(name, language.left(2).toLower());
}

bool ALocalizedPlugin::setLanguage(const QString& language)
{
    if (m_pTranslator) {
        QCoreApplication::removeTranslator(m_pTranslator);
        delete m_pTranslator;
        m_pTranslator = nullptr;
    }
    auto translator = new QTranslator;
    if (!translator->load(catalogueName(QString::fromLatin1(metaObject()->className()), language))) {
        delete translator;
        return false;
    }
    QCoreApplication::installTranslator(translator);
    m_pTranslator = translator;
    return true;
}

} // namespace Core::Plugin
