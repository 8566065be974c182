// Names in a tree of registries: what they reach, against a plain reading of the tree.
#include <algorithm>
#include <memory>
#include <vector>

#include "base/plat/Configuration.h"
#include "fuzz/fuzz.h"

namespace {

const char* const names[] = {"A", "a", "b", "C"};

class Stage {
 public:
  explicit Stage(fuzz::Input& source) : input(source) {
    for (auto [parent, child] : {std::pair(0, 1), {0, 2}, {1, 3}, {0, 1}, {1, 3}}) {
      const bool unique = child < 3,
                 isKnown = std::count(children[parent].begin(), children[parent].end(), child);
      registries[parent].addChild(&registries[child], unique);
      if (!unique || !isKnown) children[parent].push_back(child);
    }
  }

  void run() {
    while (input.left() > 0) step();
  }

 private:
  struct Held {
    int registry;
    std::unique_ptr<plat::IntParameter> parameter;
    int minimum, value;
  };
  struct Alias {
    int registry;
    std::unique_ptr<plat::ParameterAlias> alias;
    std::vector<const char*> targets;
    bool counts;  // until another of its name
  };

  void step() {
    const int registry = input.number(0, 3);
    const char* const name = names[input.number(0, 3)];
    switch (input.number(0, 5)) {
      case 0: {
        const int minimum = input.number(0, 4);
        held.push_back({registry,
                        std::make_unique<plat::IntParameter>(name, "d", minimum, false,
                                                             &registries[registry], minimum, 5),
                        minimum, minimum});
        break;
      }
      case 1:
        if (held.empty()) return;
        held.erase(held.begin() + input.number<long>(0, held.size() - 1));
        break;
      case 2: {
        // An alias of C, which may set parameters of the other names.
        std::vector<const char*> targets{"A", "b"};
        targets.resize(input.number<size_t>(0, 2));
        std::vector<plat::String> texts;
        for (const char* target : targets) texts.emplace_back(target);
        const Alias* old = aliasOf(registry, "C");
        if (old) const_cast<Alias*>(old)->counts = false;
        aliases.push_back(
            {registry, std::make_unique<plat::ParameterAlias>("c", texts), targets, true});
        registries[registry].addAlias(aliases.back().alias.get());
        break;
      }
      case 3:
        if (aliases.empty()) return;
        {
          const auto at = aliases.begin() + input.number<long>(0, aliases.size() - 1);
          registries[at->registry].removeAlias(at->alias.get());
          aliases.erase(at);
        }
        break;
      default:
        const int value = input.number(0, 6);
        const bool taken = set(registry, name, value);
        PLAT_ASSERT(registries[registry].setParam(name, std::to_string(value).c_str(), 0) == taken);
    }
    check(registry, name);
  }

  const Alias* aliasOf(int registry, const char* name) const {
    for (const Alias& each : aliases) {
      if (each.counts && each.registry == registry && !strcasecmp(name, "c")) return &each;
    }
    return nullptr;
  }
  // The newest of its own.
  Held* own(int registry, const char* name) {
    for (auto each = held.rbegin(); each != held.rend(); ++each) {
      if (each->registry == registry && !strcasecmp(each->parameter->getName(), name))
        return &*each;
    }
    return nullptr;
  }
  Held* find(int registry, const char* name) {
    Held* found = own(registry, name);
    for (int child : children[registry]) {
      if (!found) found = find(child, name);
    }
    return found;
  }
  bool set(int registry, const char* name, int value) {
    if (const Alias* alias = aliasOf(registry, name)) {
      int count = 0;
      for (const char* target : alias->targets) count += set(registry, target, value);
      return count > 0;
    }
    if (Held* found = own(registry, name)) {
      if (value < found->minimum || value > 5) return false;
      found->value = value;
      return true;
    }
    return std::any_of(children[registry].begin(), children[registry].end(),
                       [&](int child) { return set(child, name, value); });
  }

  void check(int registry, const char* name) {
    for (const Held& each : held) PLAT_ASSERT(*each.parameter == each.value);
    const Held *itsOwn = own(registry, name), *found = find(registry, name);
    auto expect = [&](const Held* wanted, const plat::ConfigParameter* got) {
      PLAT_ASSERT(got == (wanted ? wanted->parameter.get() : nullptr));
    };
    expect(itsOwn, registries[registry].findParam(name, false));
    expect(found, registries[registry].findParam(name, true));
    const std::string missing = std::string(": Parameter ") + name + " not found";
    PLAT_ASSERT(fuzz::refusal([&] { expect(found, registries[registry].getParam(name)); }) ==
                (found ? "" : missing));
  }

  fuzz::Input& input;
  plat::Configuration registries[4]{plat::Configuration("0"), plat::Configuration("1"),
                                    plat::Configuration("2"), plat::Configuration("3")};
  std::vector<int> children[4];
  std::vector<Held> held;
  std::vector<Alias> aliases;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  Stage(input).run();
  return 0;
}
