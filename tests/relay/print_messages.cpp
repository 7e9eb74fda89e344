// Prints the tables of the guide that explain what the server says, each between the marks that
// surround it there.

#include "relay/log/Messages.h"

#include <QRegularExpression>

#include <cstdio>

using namespace wingbell;

namespace {

struct TopicName
{
    Topic topic;
    const char* name;
};

constexpr TopicName topics[] = {
    {Topic::NotOnAir, "not-on-air"},
    {Topic::OnAir, "on-air"},
    {Topic::ComingAndGoing, "coming-and-going"},
    {Topic::Rejected, "rejected"},
    {Topic::Announcements, "announcements"},
};

/// As the guide quotes a text: … for what differs.
QString quote(std::string_view text)
{
    static const QRegularExpression argument(QStringLiteral("%[1-9]"));
    QString shown = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    shown.replace(argument, QStringLiteral("…"))
        .replace(QStringLiteral("[s]"), QStringLiteral("s"));
    return QLatin1Char('`') + shown + QLatin1Char('`');
}

void printRow(const QStringList& quotes, const QString& meaning)
{
    const QString row =
        QStringLiteral("| %1 | %2 |\n").arg(quotes.join(QStringLiteral(", ")), meaning);
    (void)std::fputs(row.toUtf8().constData(), stdout);
}

void printTable(const TopicName& table)
{
    std::printf("<!-- begin %s: made from relay/log/Messages.cpp -->\n", table.name);
    std::printf("| What you see | What it means, and what to do |\n|---|---|\n");
    QStringList quotes;
    for (const MessageRow& row : messageRows()) {
        if (row.topic == table.topic) {
            quotes.append(quote(row.text));
            if (!row.meaning.empty()) {
                printRow(
                    quotes, QString::fromUtf8(row.meaning.data(), qsizetype(row.meaning.size())));
                quotes.clear();
            }
        }
    }
    for (const EventRow& row : eventRows()) {
        if (row.topic == table.topic) {
            quotes.append(quote(row.more));
        }
    }
    if (!quotes.isEmpty()) {
        printRow(
            quotes,
            QStringLiteral("Much happened at once, so it is counted instead of told one by one."));
    }
    std::printf("<!-- end %s -->\n", table.name);
}

} // namespace

int main()
{
    for (const TopicName& each : topics) {
        printTable(each);
    }
}
