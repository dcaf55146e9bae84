#include "search/wildcard_matcher.h"

#include "util/logging.h"
#include "util/path_utils.h"

using namespace Qt::StringLiterals;

namespace sv {
namespace {

const QString kAnyRun = u"??"_s;

quint8 lowByte(QChar c) {
    return static_cast<quint8>(c.unicode() & 0xff);
}

// The scanner that splits patterns skips white space and line ends before each
// scan, so leading white space of every piece is dropped.
qsizetype skipWhiteSpace(const QString& text, qsizetype pos) {
    while (pos < text.size() && text.at(pos).isSpace())
        ++pos;
    return pos;
}

} // namespace

QStringList splitPattern(const QString& pattern) {
    QStringList components;
    qsizetype pos = 0;
    while (skipWhiteSpace(pattern, pos) < pattern.size()) {
        pos = skipWhiteSpace(pattern, pos);
        qsizetype end = pattern.indexOf(kAnyRun, pos);
        if (end < 0)
            end = pattern.size();
        if (end > pos)
            components.append(pattern.mid(pos, end - pos));
        pos = skipWhiteSpace(pattern, end);
        if (QStringView(pattern).mid(pos).startsWith(kAnyRun)) {
            components.append(kAnyRun);
            pos += kAnyRun.size();
        }
    }
    return components;
}

namespace {

bool matchesAfterAnyRun(QStringView subject, const QStringList& components) {
    if (components.size() == 1)
        return true;
    const QString& next = components.at(1);
    qsizetype found = subject.indexOf(next);
    while (found >= 0) {
        const qsizetype end = found + next.size();
        if (end == subject.size()) {
            if (components.size() >= 3)
                log(u"There are extra search components left over"_s);
            return components.size() == 2;
        }
        // Deliberately only the first occurrence of a final piece is tried.
        if (components.size() == 2)
            return false;
        if (matchesSearchComponents(subject.mid(end), components.mid(2)))
            return true;
        found = subject.indexOf(next, found + 1);
    }
    return false;
}

bool isSpecialComponent(const QString& component) {
    return component.contains(u'?') || component == u"*"_s || component == u"*..*"_s;
}

} // namespace

bool matchesWildcardString(const QString& subject, const QString& pattern) {
    return matchesSearchComponents(subject, splitPattern(pattern));
}

bool matchesSearchComponents(QStringView subject, const QStringList& components) {
    // An empty list behaves as one empty literal piece.
    const QString first = components.isEmpty() ? QString() : components.first();
    if (first == kAnyRun)
        return matchesAfterAnyRun(subject, components);
    if (subject.size() < first.size())
        return false;
    if (!matchesSimpleWildcardString(subject.left(first.size()), first))
        return false;
    if (components.size() <= 1)
        return subject.size() <= first.size();
    return matchesSearchComponents(subject.mid(first.size()), components.mid(1));
}

bool matchesSimpleWildcardString(QStringView subject, QStringView piece) {
    if (subject.isEmpty())
        return true;
    const qsizetype length = std::min(subject.size(), piece.size());
    for (qsizetype i = 0; i < length; ++i) {
        const quint8 p = lowByte(piece.at(i));
        if (p != '?' && p != lowByte(subject.at(i)))
            return false;
    }
    return true;
}

QStringList searchComponents(const QString& expression) {
    QStringList result;
    QString pending;
    for (const QString& component : pathComponents(expression)) {
        if (!isSpecialComponent(component)) {
            pending =
                pending.isEmpty() ? component : stringByAppendingPathComponent(pending, component);
            continue;
        }
        if (!pending.isEmpty())
            result.append(pending);
        result.append(component);
        pending.clear();
    }
    if (!pending.isEmpty())
        result.append(pending);
    return result;
}

void SVSearchTestSuite() {
    struct Case {
        QString subject;
        QString pattern;
    };
    const Case pass[] = {
        {u"one---"_s, u"one??"_s},
        {u"---two"_s, u"??two"_s},
        {u"---one---"_s, u"??one??"_s},
        {u"one---two---three"_s, u"one??two??three"_s},
        {u"one---twotwo---three"_s, u"one??two??three"_s},
        {u"one---twotwo---three-twothreefourfive"_s, u"one??two??three??"_s},
        {u"---one---two----three--"_s, u"??one??two??three??"_s},
        {u"---one---two----three--three--"_s, u"??one??two??three??"_s},
        {u"---one---two----three--five????three--two--threee---"_s, u"??one??two??three??"_s},
    };
    const Case fail[] = {
        {u"1one---"_s, u"one??"_s},
        {u"2---two"_s, u"??one"_s},
        {u"---o1ne---"_s, u"??one??"_s},
        {u"one---two---three4"_s, u"one??two??three"_s},
        {u"one---twotwo---three4"_s, u"one??two??three"_s},
        {u"one---twotwwo---thee-twotreefourfive"_s, u"one??two??three??"_s},
        {u"---one---two----thre--"_s, u"??one??two??three??"_s},
        {u"---one---to----three--three--"_s, u"??one??two??three??"_s},
        {u"---one---three----three--five????three--two--treee---"_s, u"??one??two??three??"_s},
    };
    const auto logGroup = [](const auto& cases) {
        int number = 1;
        for (const Case& c : cases) {
            const bool matched = matchesWildcardString(c.subject, c.pattern);
            log(u"\nTest %1 = %2"_s.arg(number++).arg(matched ? u"YES"_s : u"NO"_s));
        }
    };
    log(u"NSString+SVSearch Test Suite"_s);
    log(u"These should pass..."_s);
    logGroup(pass);
    log(u"These should fail..."_s);
    logGroup(fail);
}

} // namespace sv
