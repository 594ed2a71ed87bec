#pragma once
// lstUsers: one entry for each attendee, in order of arrival. Entries come and go one by one, so that a
// selection stays what it was.

#include <QHash>
#include <QListWidget>
#include <QStringList>
#include <functional>

class AttendeeList : public QListWidget {
public:
    explicit AttendeeList(QWidget* parent);

    /// Whole entry, without case.
    bool Has(const QString& handle) const;
    void Add(const QString& handle);
    /// Does nothing when it is not listed.
    void Remove(const QString& handle);
    /// The list becomes `handles`; entries that stay keep their selection.
    void Fill(const QStringList& handles);
    /// From the top.
    QStringList Selected() const;

    /// Who is heard, and how loud (decibels below full scale): a dot beside the name.
    void SetLevels(const QHash<QString, int>& levels);

    /// lstUsers_KeyPress: what is typed here.
    std::function<void(QKeyEvent*)> onTyping;

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    QHash<QString, int> mLevels;
};
