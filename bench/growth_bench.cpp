// Growth: what twice the work costs, and whether long use makes anything slower.
//
// A figure of "growth" is the worst ratio of the times of 2n and n items, for n
// from 8,000 to 64,000: 2 for what is linear. More than that comes from a working
// set that outgrows a cache; what this does to loads that depend on one another,
// 64 bytes an item, is shown beside. A figure of "a million steps" is the time of
// the last tenth over that of the first.
#include <algorithm>
#include <functional>
#include <limits>
#include <memory>
#include <numeric>
#include <sstream>

#include "velbench.h"
#include "velstd.h"

using benchmark::State;
using velbench::check;
using velbench::keep;

namespace {

constexpr int kSmallest = 8000;
constexpr int kDoublings = 4;
constexpr int kTries = 3;
constexpr int kSteps = 1000000;

const char* word(int i) { return velbench::words()[static_cast<std::size_t>(i)].c_str(); }

void addRatio(const std::string& work, const char* side, const std::function<double()>& ratio) {
  velbench::addOnce(work.c_str(), side, [=](State& state) {
    for (auto _ : state) state.counters["ratio"] = ratio();
  });
}

// ---- growth --------------------------------------------------------------------

double worst(const std::vector<double>& seconds) {
  double ratio = 0;
  for (std::size_t i = 1; i < seconds.size(); ++i) {
    ratio = std::max(ratio, seconds[i] / seconds[i - 1]);
  }
  return ratio;
}

// The fastest of some runs of step(subject), with a new make(n) each.
template <class Make, class Step>
double secondsFor(int n, Make make, Step step) {
  double best = std::numeric_limits<double>::max();
  for (int i = 0; i < kTries; ++i) {
    auto subject = make(n);
    const double begin = velbench::threadSeconds();
    step(subject, n);
    best = std::min(best, velbench::threadSeconds() - begin);
  }
  return best;
}

template <class Make, class Step>
void grows(const char* what, const char* side, Make make, Step step) {
  addRatio(std::string("growth: ") + what, side, [=] {
    std::vector<double> seconds;
    for (int i = 0; i <= kDoublings; ++i) {
      seconds.push_back(secondsFor(kSmallest << i, make, step));
    }
    return worst(seconds);
  });
}

template <class Make, class Step>
void grows(const char* what, Make make, Step step) {
  grows(what, "velstd", make, step);
}

// The dictionary that can be copied slot by slot.
class Cloneable : public xtsdictionary<int> {
 public:
  Cloneable() : xtsdictionary<int>(0) {}
  void clone(const Cloneable& other) { BaseClone(&other, kSlot, kValue); }
};

xrchandle<Cloneable> dictionary(int n) {
  const xrchandle<Cloneable> made = new Cloneable;
  for (int i = 0; i < n; ++i) made->set(word(i), i);
  return made;
}

// `n` nodes: rows of seven numbers.
xany wide(int n) {
  const auto rows = xanysequence::create();
  for (int i = 0; i < n; i += 8) {
    const auto row = xanysequence::create();
    for (int k = 0; k < 7; ++k) row->append(i + k);
    rows->append(xany(row));
  }
  return xany(rows);
}

// `n` nodes, each of which holds the next.
xany deep(int n) {
  xany inner(0);
  for (int i = 1; i < n; ++i) {
    const auto level = xanysequence::create();
    level->append(inner);
    inner = xany(level);
  }
  return inner;
}

template <class Make>
void growingTrees(const char* name, Make make) {
  const auto in = [=](const char* what) { return std::string(what) + ", " + name + " tree"; };
  grows(in("walk").c_str(), make, [](const xany& tree, int) {
    velTraverser visitor;
    velTraverse(tree, &visitor);
  });
  grows(in("print").c_str(), make, [](const xany& tree, int n) {
    std::ostringstream out;
    velPrint(tree, out, -1);
    check(out.tellp() > n, "print");
  });
  grows(
      in("compare").c_str(), [=](int n) { return std::make_pair(make(n), make(n)); },
      [](const auto& trees, int) { check(velCompare(trees.first, trees.second), "compare"); });
  grows(in("destroy").c_str(), make, [](xany& tree, int) { tree = xany(); });
}

// Types with names of their own, which stay for ever, as their registration does.
std::vector<xrttiobject*> freshTypes(int n) {
  static int number = 0;
  std::vector<xrttiobject*> types;
  for (int i = 0; i < n; ++i) {
    auto* type = new xrttiobject;
    type->initializeRttiObject(("bench::Type" + std::to_string(++number)).c_str(), 1, 0, nullptr);
    types.push_back(type);
  }
  return types;
}

// The first n of many registrations, beside the first 2n. There is but one
// registry: each round finds the types of those before.
double registryGrowth() {
  constexpr int kFirst = 1000;
  const auto types = freshTypes(kFirst << kDoublings);
  std::vector<double> seconds;
  const double begin = velbench::threadSeconds();
  for (std::size_t i = 0, n = kFirst; i < types.size();) {
    velRttiAddToMap(types[i]);
    if (++i == n) {
      seconds.push_back(velbench::threadSeconds() - begin);
      n *= 2;
    }
  }
  check(velRttiGetFromMap(types.back()->getName()) == types.back(), "registry");
  return worst(seconds);
}

// A ring of lines of the cache in no order.
struct alignas(64) Line {
  Line* next;
};
std::vector<Line> ring(int n) {
  std::vector<Line> lines(static_cast<std::size_t>(n));
  std::vector<std::size_t> order(lines.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  velbench::shuffle(order, 1);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    lines[order[i]].next = &lines[order[(i + 1) % lines.size()]];
  }
  return lines;
}

void addGrowth() {
  grows("dependent loads", "machine", ring, [](const std::vector<Line>& lines, int n) {
    const Line* at = lines.data();
    for (int i = 0; i < n; ++i) at = at->next;
    check(velbench::opaque(at) == lines.data(), "ring");
  });

  const auto emptyNumbers = [](int) { return xintsequence::create(); };
  const auto emptyValues = [](int) { return xanysequence::create(); };
  grows("append numbers", emptyNumbers, [](const auto& sequence, int n) {
    for (int i = 0; i < n; ++i) sequence->append(i);
  });
  grows("append variants", emptyValues, [](const auto& sequence, int n) {
    for (int i = 0; i < n; ++i) sequence->append(xany(i));
  });
  grows("insert numbers at the end", emptyNumbers, [](const auto& sequence, int n) {
    for (int i = 0; i < n; ++i) sequence->insert(i, i);
  });
  grows("insert variants at the end", emptyValues, [](const auto& sequence, int n) {
    for (int i = 0; i < n; ++i) sequence->insert(i, xany(i));
  });

  grows(
      "dictionary insert", [](int) { return xintdictionary::create(); },
      [](const auto& made, int n) {
        for (int i = 0; i < n; ++i) made->set(word(i), i);
      });
  grows("dictionary find", dictionary, [](const auto& made, int n) {
    for (int i = 0; i < n; ++i) check(made->find(word(i), nullptr), "find");
  });
  grows(
      "dictionary clone",
      [](int n) { return std::make_pair(dictionary(n), xrchandle<Cloneable>(new Cloneable)); },
      [](const auto& both, int) { both.second->clone(*both.first); });
  grows("dictionary destroy", dictionary, [](auto& made, int) { made = xrchandle<Cloneable>(); });
  addRatio("growth: registry insert", "velstd", registryGrowth);

  growingTrees("wide", wide);
  growingTrees("deep", deep);

  grows(
      "substitute",
      [](int n) {
        std::string text;
        for (int i = 0; i < n; ++i) text += "ab";
        return xstring(text.c_str());
      },
      [](xstring& text, int n) {
        text.Substitute("b", "xyz");
        check(static_cast<int>(text.GetMBSize()) > 4 * n, "substitute");
      });
}

// ---- long use --------------------------------------------------------------------

// `step` after a tenth of the steps for nothing, in which caches fill.
template <class Make, class Step>
void lasts(const char* what, Make make, Step step) {
  addRatio(std::string("a million steps: ") + what, "velstd", [=] {
    constexpr int kTenth = kSteps / 10;
    auto subject = make();
    const auto tenth = [&](int number) {
      const double begin = velbench::threadSeconds();
      for (int i = number * kTenth; i < (number + 1) * kTenth; ++i) step(subject, i);
      return velbench::threadSeconds() - begin;
    };
    tenth(0);
    const double first = tenth(1);
    for (int number = 2; number < 10; ++number) tenth(number);
    return tenth(10) / first;
  });
}

constexpr int kHeld = 10000;
int distinctWords() { return static_cast<int>(velbench::words().size()); }

void addLongUse() {
  lasts(
      "create and release an object", [] { return 0; },
      [](int, int) { keep(xintsequence::create()); });
  lasts(
      "append to a sequence, remove from it",
      [] {
        const auto made = xanysequence::create();
        for (int i = 0; i < kHeld; ++i) made->append(xany(i));
        return made;
      },
      [](const auto& sequence, int i) {
        sequence->append(xany(i));
        sequence->removerange(kHeld, kHeld + 1);
      });
  // A window on the words moves on.
  lasts(
      "insert a word into a dictionary, remove another", [] { return dictionary(kHeld); },
      [](const auto& made, int i) {
        made->set(word((i + kHeld) % distinctWords()), i);
        made->remove(word(i % distinctWords()));
      });
  lasts(
      "assign texts of many sizes", [] { return std::vector<xstring>(kHeld); },
      [](std::vector<xstring>& texts, int i) {
        texts[static_cast<std::size_t>(i) * 7919 % kHeld] = word(i % distinctWords());
      });
  lasts(
      "assign variants of many kinds", [] { return std::vector<xany>(kHeld); },
      [](std::vector<xany>& values, int i) {
        xany& value = values[static_cast<std::size_t>(i) * 7919 % kHeld];
        switch (i % 4) {
          case 0:
            value = i;
            break;
          case 1:
            value = xany(word(i % distinctWords()));
            break;
          case 2:
            value = xany(xintsequence::create());
            break;
          default:
            value = xany();
        }
      });
  lasts(
      "walk a small tree", [] { return wide(8); },
      [](const xany& tree, int) {
        velTraverser visitor;
        velTraverse(tree, &visitor);
      });
}

}  // namespace

void velbench::registerCases() {
  addGrowth();
  addLongUse();
}
