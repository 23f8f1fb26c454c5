#include "PLVViewController.h"

#include "PLVBundle.h"
#include "PLVClassRegistry.h"
#include "PLVLog.h"

#include <QFile>
#include <QMetaProperty>
#include <QUiLoader>

namespace {

// Creates widgets of registered classes through the registry.
class Loader : public QUiLoader
{
public:
    QWidget *createWidget(const QString &className, QWidget *parent, const QString &name) override
    {
        if (const QMetaObject *mo = PLVClassRegistry::classNamed(className);
            mo && mo->inherits(&QWidget::staticMetaObject)) {
            if (QObject *object = mo->newInstance()) {
                auto *widget = static_cast<QWidget *>(object);
                widget->setParent(parent);
                widget->setObjectName(name);
                return widget;
            }
            qCWarning(plvPlatform) << "interface file: cannot create" << className;
        }
        return QUiLoader::createWidget(className, parent, name);
    }
};

void wireOutlets(QObject *owner, QWidget *root)
{
    const QMetaObject *mo = owner->metaObject();
    for (int i = 0; i < mo->propertyCount(); ++i) {
        const QMetaProperty prop = mo->property(i);
        if (!prop.isWritable() || !(prop.metaType().flags() & QMetaType::PointerToQObject))
            continue;
        const QMetaObject *wanted = prop.metaType().metaObject();
        const QString name = QString::fromLatin1(prop.name());
        QObject *found = root->objectName() == name ? root : root->findChild<QObject *>(name);
        if (!found || (wanted && !found->metaObject()->inherits(wanted)))
            continue;
        QVariant v(prop.metaType());
        *static_cast<QObject **>(v.data()) = found;
        prop.write(owner, v);
    }
}

void wake(QObject *object)
{
    const int index = object->metaObject()->indexOfMethod("awakeFromNib()");
    if (index >= 0)
        object->metaObject()->method(index).invoke(object, Qt::DirectConnection);
}

} // namespace

PLVViewController::PLVViewController(QObject *parent) : QObject(parent) {}

PLVViewController::~PLVViewController()
{
    QWidget *root = m_view.data();
    for (const QPointer<QWidget> &w : std::as_const(m_loadedViews))
        if (w && w != root && !w->parentWidget())
            delete w.data();
    delete root;
}

void PLVViewController::setNibName(const QString &nibName, PLVBundle *bundle)
{
    m_nibName = nibName;
    m_nibBundle = bundle;
}

QWidget *PLVViewController::view()
{
    if (!m_viewLoaded)
        loadView();
    return m_view.data();
}

void PLVViewController::setView(QWidget *view)
{
    m_view = view;
    m_viewLoaded = true;
}

void PLVViewController::loadView()
{
    m_viewLoaded = true;
    const QString name = m_nibName.isEmpty() ? QString::fromLatin1(metaObject()->className()) : m_nibName;
    PLVBundle *bundle = m_nibBundle ? m_nibBundle : PLVBundle::bundleForClass(metaObject());
    const QString path = bundle ? bundle->pathForResource(name, QStringLiteral("ui")) : QString();
    if (path.isEmpty())
        return;
    QWidget *root = loadInterfaceFile(path, this);
    if (!root)
        return;
    m_view = root;
    m_loadedViews.clear();
    m_loadedViews << root;
    for (QWidget *w : root->findChildren<QWidget *>())
        m_loadedViews << w;
}

QWidget *PLVViewController::loadInterfaceFile(const QString &path, QObject *owner)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return nullptr;
    Loader loader;
    QWidget *root = loader.load(&file);
    if (!root) {
        qCWarning(plvPlatform) << "interface file" << path << "could not be loaded:" << loader.errorString();
        return nullptr;
    }
    if (owner)
        wireOutlets(owner, root);
    wake(root);
    for (QObject *child : root->findChildren<QObject *>())
        wake(child);
    if (owner)
        wake(owner);
    return root;
}
