#pragma once
// Shared by the module tests: a shipped bundle's controller, loaded from the
// build's plug-ins folder as a host loads it, and what it publishes.
#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/core/PLVSamplingModule.h"
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVClassRegistry.h"

#include <QWidget>

#include <memory>

namespace modtest {

struct ControllerDeleter {
    void operator()(PLVGenericModuleController *c) const { PLVGenericModuleController::destroy(c); }
};
using Controller = std::unique_ptr<PLVGenericModuleController, ControllerDeleter>;

// The module's controller, set up, sampling under root (the live system when empty).
inline Controller loadModule(const QString &name, const QString &root = QString())
{
    PLVBundle *bundle = PLVBundle::bundleWithPath(QStringLiteral(PLV_BUILD_PLUGINS_DIR "/") + name + QStringLiteral(".plvbundle3"));
    if (!bundle)
        return nullptr;
    auto *c = qobject_cast<PLVGenericModuleController *>(PLVClassRegistry::createInstance(bundle->principalClass()));
    if (!c)
        return nullptr;
    c->initMainApp();
    if (!root.isEmpty())
        qobject_cast<PLVSamplingModuleModel *>(c->modulemodelobj())->setSystemRoot(PLVSysRoot(root));
    return Controller(c);
}

inline QVariant value(const Controller &c, const char *key) { return c->modulemodelobj()->modelData().value(QLatin1String(key)); }
inline QStringList viewLines(QWidget *view) { return view ? view->property("lines").toStringList() : QStringList(); }

} // namespace modtest
