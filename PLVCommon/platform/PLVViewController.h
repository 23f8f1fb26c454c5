#pragma once
#include <QObject>
#include <QPointer>
#include <QString>
#include <QWidget>

class PLVBundle;

// Owns a root view loaded from an interface file.
//
// The interface file is "<nibName>.ui" (Qt Designer) in the Resources of the
// nib bundle. Widgets of classes registered with PLVClassRegistry are created
// through it; others by Qt. After the tree is built, every writable property of
// the controller that holds a QObject pointer (an outlet) receives the object of
// the same name and a compatible class, then awakeFromNib() runs on every
// loaded object that has it and last on the controller. A missing file leaves
// the controller without a view, and a missing object leaves its outlet null.
class PLVViewController : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QWidget *view READ view WRITE setView)
public:
    Q_INVOKABLE explicit PLVViewController(QObject *parent = nullptr);
    ~PLVViewController() override;

    // The interface file to load and the bundle that holds it (default: the
    // bundle of the controller's class).
    void setNibName(const QString &nibName, PLVBundle *bundle = nullptr);
    QString nibName() const { return m_nibName; }
    PLVBundle *nibBundle() const { return m_nibBundle; }

    // Loads the view when it is not loaded yet and returns it (may be null).
    QWidget *view();
    void setView(QWidget *view);
    bool isViewLoaded() const { return m_viewLoaded; }
    virtual void loadView();

    Q_INVOKABLE virtual void awakeFromNib() {}

    // Creates the objects of an interface file, wires `owner`'s outlets and
    // wakes everything; returns the root widget or null.
    static QWidget *loadInterfaceFile(const QString &path, QObject *owner);

private:
    QString m_nibName;
    PLVBundle *m_nibBundle = nullptr;
    QPointer<QWidget> m_view;
    bool m_viewLoaded = false;
    // Views that came from the interface file: those detached from the tree
    // when the controller goes are deleted with it.
    QList<QPointer<QWidget>> m_loadedViews;
};
