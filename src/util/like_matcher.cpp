#include "util/like_matcher.h"

namespace sv {

bool isCaseInsensitiveLike(const QString& string, const QString& pattern) {
    const QString text = string.toCaseFolded();
    const QString glob = pattern.toCaseFolded();
    // Greedy match with one backtrack point, the last "*" seen: linear in
    // practice and never exponential.
    qsizetype t = 0;
    qsizetype g = 0;
    qsizetype starAt = -1;
    qsizetype resumeAt = 0;
    while (t < text.size()) {
        if (g < glob.size() && glob[g] == u'*') {
            starAt = g++;
            resumeAt = t;
        } else if (g < glob.size() && (glob[g] == u'?' || glob[g] == text[t])) {
            ++g;
            ++t;
        } else if (starAt >= 0) {
            g = starAt + 1;
            t = ++resumeAt;
        } else {
            return false;
        }
    }
    while (g < glob.size() && glob[g] == u'*')
        ++g;
    return g == glob.size();
}

} // namespace sv
