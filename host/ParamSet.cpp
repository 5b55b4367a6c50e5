#include "ParamSet.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "VstHost.h"

namespace ghost {

int PluginParamAccess::Count() { return m_plugin.NumParams(); }
std::string PluginParamAccess::Name(int index) { return m_plugin.ParamName(index); }
std::string PluginParamAccess::Label(int index) { return m_plugin.ParamLabel(index); }
std::string PluginParamAccess::Display(int index) { return m_plugin.ParamDisplay(index); }
void PluginParamAccess::Set(int index, float normalised) { m_plugin.SetParam(index, normalised); }

namespace {

std::string Trim(const std::string& s)
{
    size_t a = 0, b = s.size();
    while (a < b && std::isspace(static_cast<unsigned char>(s[a])))
        ++a;
    while (b > a && std::isspace(static_cast<unsigned char>(s[b - 1])))
        --b;
    return s.substr(a, b - a);
}

// Lower case with runs of blanks folded to one space, for forgiving matches.
std::string Fold(const std::string& s)
{
    std::string out;
    bool space = false;
    for (char c : Trim(s)) {
        if (std::isspace(static_cast<unsigned char>(c))) {
            space = true;
            continue;
        }
        if (space && !out.empty())
            out += ' ';
        space = false;
        out += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return out;
}

size_t EditDistance(const std::string& a, const std::string& b)
{
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diag = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t up = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diag + (a[i - 1] == b[j - 1] ? 0 : 1)});
            diag = up;
        }
    }
    return row[b.size()];
}

// Longest common subsequence: among names at the same edit distance, the one
// that keeps more of what was typed is the better suggestion.
size_t CommonSubsequence(const std::string& a, const std::string& b)
{
    std::vector<size_t> row(b.size() + 1, 0);
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diag = 0;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t up = row[j];
            row[j] = a[i - 1] == b[j - 1] ? diag + 1 : std::max(row[j], row[j - 1]);
            diag = up;
        }
    }
    return row[b.size()];
}

std::string Quote(const std::string& s) { return "\"" + s + "\""; }

std::string FormatNumber(double v)
{
    std::ostringstream o;
    o << v;
    return o.str();
}

// The parameter's display for one normalised value.
struct Probe {
    std::string text;
    bool numeric = false;
    double value = 0;
    int decimals = 0;
};

class Searcher {
public:
    Searcher(ParamAccess& p, int index) : m_p(p), m_index(index) {}

    Probe At(float n)
    {
        m_p.Set(m_index, n);
        Probe r;
        r.text = m_p.Display(m_index);
        r.numeric = ParseDisplayNumber(r.text, &r.value, &r.decimals);
        return r;
    }

    // Smallest n in (a, b] with pred true, given pred(a) false and pred(b)
    // true; float bisection.
    template <class Pred>
    float First(float a, float b, Pred pred)
    {
        for (int i = 0; i < 64; ++i) {
            const float m = a + (b - a) * 0.5f;
            if (!(m > a && m < b))
                break;
            if (pred(m))
                b = m;
            else
                a = m;
        }
        return b;
    }
    // Largest n in [a, b) with pred true, given pred(a) true and pred(b) false.
    template <class Pred>
    float Last(float a, float b, Pred pred)
    {
        for (int i = 0; i < 64; ++i) {
            const float m = a + (b - a) * 0.5f;
            if (!(m > a && m < b))
                break;
            if (pred(m))
                a = m;
            else
                b = m;
        }
        return a;
    }

private:
    ParamAccess& m_p;
    int m_index;
};

double HalfStep(int decimals) { return 0.5 * std::pow(10.0, -std::min(decimals, 12)); }

// Display strings with this parameter's label removed, folded.
std::string FoldWithoutLabel(const std::string& text, const std::string& label)
{
    std::string f = Fold(text);
    const std::string l = Fold(label);
    if (!l.empty() && f.size() > l.size() && f.compare(f.size() - l.size(), l.size(), l) == 0)
        f = Trim(f.substr(0, f.size() - l.size()));
    return f;
}

// Sample the whole range and take the middle of the longest run of values
// that display the requested value (or, for a number, the closest one).
bool ScanFor(ParamAccess& params, int index, const std::string& request, ParamSetting* out)
{
    constexpr int kSamples = 2001;
    Searcher s(params, index);
    const std::string label = params.Label(index);
    double target = 0;
    int targetDecimals = 0;
    const bool numeric = ParseDisplayNumber(request, &target, &targetDecimals);
    const std::string wanted = FoldWithoutLabel(request, label);

    std::vector<Probe> probes(kSamples);
    for (int i = 0; i < kSamples; ++i)
        probes[i] = s.At(static_cast<float>(i) / (kSamples - 1));

    // Exact text first (also catches "ON"/"OFF" and similar).
    std::vector<char> match(kSamples, 0);
    bool any = false;
    for (int i = 0; i < kSamples; ++i)
        if (FoldWithoutLabel(probes[i].text, label) == wanted) {
            match[i] = 1;
            any = true;
        }
    double chosen = 0;
    int chosenDecimals = 0;
    if (!any && numeric) {
        double best = INFINITY;
        for (const Probe& p : probes)
            if (p.numeric && std::fabs(p.value - target) < best) {
                best = std::fabs(p.value - target);
                chosen = p.value;
                chosenDecimals = p.decimals;
            }
        if (std::isfinite(best)) {
            for (int i = 0; i < kSamples; ++i)
                if (probes[i].numeric && probes[i].value == chosen) {
                    match[i] = 1;
                    any = true;
                }
        }
        if (any && std::fabs(chosen - target) > HalfStep(chosenDecimals) + 1e-9 * std::fabs(target))
            out->note = "no value displays " + request + "; the closest is " + FormatNumber(chosen);
    }
    if (!any)
        return false;
    int bestStart = 0, bestLen = 0;
    for (int i = 0; i < kSamples;) {
        if (!match[i]) {
            ++i;
            continue;
        }
        int j = i;
        while (j < kSamples && match[j])
            ++j;
        if (j - i > bestLen) {
            bestLen = j - i;
            bestStart = i;
        }
        i = j;
    }
    const float lo = static_cast<float>(bestStart) / (kSamples - 1);
    const float hi = static_cast<float>(bestStart + bestLen - 1) / (kSamples - 1);
    out->normalised = lo + (hi - lo) * 0.5f;
    if (bestStart + bestLen == kSamples && bestStart > 0)
        out->normalised = 1.0f;  // a run cut off by the end of the range
    else if (bestStart == 0 && bestLen < kSamples)
        out->normalised = 0.0f;
    return true;
}

// Monotonic numeric display: bisection to the plateau of display strings
// equal (or closest) to the target, then its middle. False if the display
// does not behave monotonically, so the caller falls back to scanning.
bool BisectFor(ParamAccess& params, int index, double target, const std::string& request,
               ParamSetting* out)
{
    Searcher s(params, index);
    const Probe p0 = s.At(0.0f), p1 = s.At(1.0f);
    if (!p0.numeric || !p1.numeric || p0.value == p1.value || std::isnan(p0.value) ||
        std::isnan(p1.value))
        return false;
    const double dir = p1.value > p0.value ? 1.0 : -1.0;
    const double lowest = std::min(p0.value, p1.value), highest = std::max(p0.value, p1.value);
    const double slack = HalfStep(std::max(p0.decimals, p1.decimals));
    if (target < lowest - slack || target > highest + slack)
        throw HostError("value " + request + " is outside the range of parameter " +
                        Quote(out->name) + " (" + p0.text + " .. " + p1.text + ")");

    auto reached = [&](float n, double v) {
        const Probe p = s.At(n);
        return p.numeric && dir * (p.value - v) >= 0;
    };
    auto within = [&](float n, double v) {
        const Probe p = s.At(n);
        return p.numeric && dir * (p.value - v) <= 0;
    };
    float a = 0.0f, b = 1.0f;
    if (reached(0.0f, target))
        b = 0.0f;
    else if (!reached(1.0f, target))
        a = b = 1.0f;
    else
        b = s.First(0.0f, 1.0f, [&](float n) { return reached(n, target); });
    if (b > 0.0f)
        a = std::nextafter(b, 0.0f);

    // The display just before the crossing and at it: take the closer one.
    const Probe pa = s.At(a), pb = s.At(b);
    const bool useB = pb.numeric &&
                      (!pa.numeric || std::fabs(pb.value - target) <= std::fabs(pa.value - target));
    const Probe& pv = useB ? pb : pa;
    if (!pv.numeric)
        return false;
    const double v = pv.value;
    float first, last;
    if (useB) {
        first = b;
        last = within(1.0f, v) ? 1.0f : s.Last(b, 1.0f, [&](float n) { return within(n, v); });
    } else {
        last = a;
        first = reached(0.0f, v) ? 0.0f : s.First(0.0f, a, [&](float n) { return reached(n, v); });
    }
    // The middle of the plateau, unless the plateau runs into an end of the
    // range: there the end itself is the value (a range ends on a round
    // figure, and the plateau's true middle lies outside).
    float mid = first + (last - first) * 0.5f;
    if (last >= 1.0f)
        mid = 1.0f;
    else if (first <= 0.0f)
        mid = 0.0f;
    const Probe check = s.At(mid);
    if (!check.numeric || check.value != v)
        return false;  // not monotonic after all
    out->normalised = mid;
    if (std::fabs(v - target) > HalfStep(pv.decimals) + 1e-9 * std::fabs(target))
        out->note = "no value displays " + request + "; the closest is " + pv.text;
    return true;
}

}  // namespace

bool ParseDisplayNumber(const std::string& text, double* value, int* decimals)
{
    const std::string t = Trim(text);
    if (t.empty())
        return false;
    const char* begin = t.c_str();
    char* end = nullptr;
    double v = std::strtod(begin, &end);
    if (end == begin)
        return false;
    // strtod reads "nan", hex and the like; only plain decimals and inf count.
    if (std::isnan(v))
        return false;
    for (const char* c = begin; c < end; ++c)
        if (*c == 'x' || *c == 'X' || *c == 'p' || *c == 'P')
            return false;
    int dec = 0;
    if (const char* dot = std::strchr(begin, '.'); dot && dot < end) {
        const char* c = dot + 1;
        while (c < end && std::isdigit(static_cast<unsigned char>(*c)))
            ++c, ++dec;
    }
    const char* rest = end;
    while (*rest == ' ')
        ++rest;
    // "1.0k", "1.6 kHz": a thousands prefix before the unit (but not "k" as
    // the start of a longer word other than a unit).
    if ((*rest == 'k' || *rest == 'K') &&
        (rest[1] == '\0' || rest[1] == 'H' || rest[1] == 'h' || rest[1] == ' ')) {
        v *= 1000.0;
        dec = std::max(0, dec - 3);
    }
    *value = v;
    if (decimals)
        *decimals = dec;
    return true;
}

std::vector<std::string> CloseMatches(const std::vector<std::string>& names,
                                      const std::string& query, size_t max)
{
    const std::string q = Fold(query);
    struct Scored {
        size_t distance;
        size_t common;
        std::string name;
    };
    std::vector<Scored> scored;
    for (const std::string& name : names) {
        const std::string n = Fold(name);
        if (n.empty())
            continue;
        size_t d = EditDistance(q, n);
        const bool contains = !q.empty() && (n.find(q) != std::string::npos || q.find(n) != std::string::npos);
        const size_t limit = std::max<size_t>(2, std::max(q.size(), n.size()) / 3);
        if (d <= limit || contains)
            scored.push_back({contains ? std::min(d, limit) : d, CommonSubsequence(q, n), name});
    }
    std::stable_sort(scored.begin(), scored.end(), [](const Scored& x, const Scored& y) {
        return x.distance != y.distance ? x.distance < y.distance : x.common > y.common;
    });
    std::vector<std::string> out;
    for (const auto& s : scored) {
        if (out.size() >= max)
            break;
        if (std::find(out.begin(), out.end(), s.name) == out.end())
            out.push_back(s.name);
    }
    return out;
}

ParamSetting ApplySetting(ParamAccess& params, const std::string& assignment)
{
    const size_t eq = assignment.rfind('=');
    if (eq == std::string::npos || eq == 0 || eq + 1 == assignment.size())
        throw HostError("--set expects NAME=VALUE or INDEX=NORMALISED, got " + Quote(assignment));
    const std::string key = Trim(assignment.substr(0, eq));
    const std::string request = Trim(assignment.substr(eq + 1));
    const int count = params.Count();
    if (count <= 0)
        throw HostError("the plug-in has no parameters to set");

    std::vector<std::string> names(count);
    for (int i = 0; i < count; ++i)
        names[i] = params.Name(i);

    ParamSetting out;
    std::vector<int> hits;
    for (int i = 0; i < count; ++i)
        if (names[i] == key)
            hits.push_back(i);
    if (hits.empty())
        for (int i = 0; i < count; ++i)
            if (Fold(names[i]) == Fold(key))
                hits.push_back(i);

    const bool isIndex = !key.empty() && std::all_of(key.begin(), key.end(), [](char c) {
        return std::isdigit(static_cast<unsigned char>(c));
    });
    if (hits.empty() && isIndex) {
        const long index = key.size() > 9 ? -1 : std::strtol(key.c_str(), nullptr, 10);
        if (index < 0 || index >= count)
            throw HostError("parameter index " + key + " is out of range (0.." +
                            std::to_string(count - 1) + ")");
        char* end = nullptr;
        const double v = std::strtod(request.c_str(), &end);
        if (end == request.c_str() || *end != '\0' || !(v >= 0.0 && v <= 1.0))
            throw HostError("parameter " + key + ": a normalised value from 0 to 1 is expected, got " +
                            Quote(request));
        out.index = static_cast<int>(index);
        out.name = names[out.index];
        out.normalised = static_cast<float>(v);
    } else {
        if (hits.empty()) {
            std::string msg = "unknown parameter " + Quote(key);
            const auto close = CloseMatches(names, key);
            if (!close.empty()) {
                msg += "; close matches:";
                for (const auto& c : close)
                    msg += " " + Quote(c);
            }
            msg += " (`graphiceq-host info PLUGIN` lists all " + std::to_string(count) + ")";
            throw HostError(msg);
        }
        if (hits.size() > 1) {
            std::string msg = "parameter name " + Quote(key) + " is ambiguous (indices";
            for (int h : hits)
                msg += " " + std::to_string(h);
            throw HostError(msg + "); use INDEX=NORMALISED");
        }
        out.index = hits[0];
        out.name = names[out.index];
        double target = 0;
        const bool numeric = ParseDisplayNumber(request, &target);
        bool found = numeric && std::isfinite(target) &&
                     BisectFor(params, out.index, target, request, &out);
        if (!found) {
            out.note.clear();
            found = ScanFor(params, out.index, request, &out);
        }
        if (!found)
            throw HostError("parameter " + Quote(out.name) + " never displays " + Quote(request));
    }
    params.Set(out.index, out.normalised);
    out.display = params.Display(out.index);
    out.label = params.Label(out.index);
    return out;
}

}  // namespace ghost
