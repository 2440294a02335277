#pragma once

#include <core/plugin/iplugin.h>

#include <QString>

class QTranslator;

namespace Core::Plugin {

/// A plug-in with message catalogues in its resources, under
/// ":/translation/<Name>_<two-letter language>.qm". The name is the plug-in's class name
/// without its namespace, its leading "C" and its trailing "Plugin" (COptiRosterPlugin: OptiRoster).
class ALocalizedPlugin : public IPlugin
{
    Q_OBJECT
public:
    ALocalizedPlugin();
    ~ALocalizedPlugin() override;

    /// Installs the catalogue of the language ("ja", "ko_KR", ...) in place of the current one.
    /// Returns false, with no catalogue installed, when the plug-in has none for it.
    virtual bool setLanguage(const QString& language);

    /// The resource name of the catalogue of a plug-in class for a language.
    static QString catalogueName(const QString& className, const QString& language);

private:
    QTranslator* m_pTranslator = nullptr;
};

} // namespace Core::Plugin
