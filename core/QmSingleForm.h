#pragma once

#include <QPointer>

// The single instance of a form, made on first use: Form::instance(). A form whose
// instance was closed and deleted is made again by the next call.
//   class frmX : public QDialog, public QmSingleForm<frmX> { friend QmSingleForm<frmX>; ... };
template <class Form>
class QmSingleForm
{
public:
    static Form* instance()
    {
        if (!s_instance)
            s_instance = new Form();
        return s_instance;
    }
    static bool exists() { return !s_instance.isNull(); }

private:
    static inline QPointer<Form> s_instance;
};
