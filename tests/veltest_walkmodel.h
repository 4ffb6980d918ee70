// veltest_walkmodel.h - the walk, written a second time as plain recursion, and
// random types and objects for it.
#ifndef VELSTD_TESTS_VELTEST_WALKMODEL_H
#define VELSTD_TESTS_VELTEST_WALKMODEL_H

#include <climits>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "veltest_types.h"
#include "veltraverser.h"

/// The walk as plain recursion.
class VelRecursiveWalker {
 public:
  explicit VelRecursiveWalker(velTraverser& visitor) : visitor_(visitor) {}

  static void walk(const xany& value, velTraverser& visitor) {
    try {
      VelRecursiveWalker(visitor).value(value);
    } catch (const velTraverseXStop&) {}
  }

 private:
  using Object = xrcunihandle<xobject>;

  // Answers `result`, but a stop ends everything.
  static int act(velTraverseResult result) {
    if (result == velTrStop) throw velTraverseXStop();
    return result;
  }

  template <class Result, class Read>
  Result guard(Result onError, Read read, bool* failed = nullptr) {
    bool isVel = false;
    xrchandle<xthrowable> exception;
    try {
      return read();
    } catch (const velTraverseXStop&) {
      throw;
    } catch (xthrowable* e) {
      isVel = true;
      exception = e;
      xrcrelease(e);
    } catch (...) {}
    if (failed) *failed = true;
    if (isVel) {
      act(visitor_.errorOccured("VEL exception", exception));
    } else {
      act(visitor_.errorOccured("Unknown exception", 0));
    }
    return onError;
  }

  void value(const xany& v) {
    switch (v.getkind()) {
      case xanyNil:
      case xanyInt:
      case xanyBool:
      case xanyReal:
      case xanyString:
        act(visitor_.simpleValue(v));
        break;
      case xanyEnum: {
        auto* type = dynamic_cast<xrttienum*>(v.getRtti());
        if (type) {
          act(visitor_.enumValue(type, v));
        } else {
          act(visitor_.errorOccured("Invalid enum value", 0));
        }
        break;
      }
      case xanyObject: {
        xobject* o = v.operator xobject*();
        if (path_.count(o)) {
          act(visitor_.alreadyVisited(o));
        } else {
          path_.insert(o);
          object(o);
          path_.erase(o);
        }
        break;
      }
      default:
        break;
    }
  }

  void object(const Object& o) {
    xrttiobject* type = o->getRtti();
    if (act(visitor_.beginObject(type, o)) == velTrSkip) return;
    if (kindBegin(type, o) == velTrSkip) return;
    std::set<xrttiobject*> done;
    contents(type, o, done);
    kindEnd(type, o);
    act(visitor_.endObject(type, o));
  }

  int kindBegin(xrttiobject* type, const Object& o) {
    if (auto* s = dynamic_cast<xrttistruct*>(type)) return act(visitor_.beginStructure(s, o));
    if (auto* s = dynamic_cast<xrttisequence*>(type)) return act(visitor_.beginSequence(s, o));
    if (auto* d = dynamic_cast<xrttidictionary*>(type)) return act(visitor_.beginDictionary(d, o));
    if (auto* a = dynamic_cast<xrttiarray*>(type)) return act(visitor_.beginArray(a, o));
    if (auto* u = dynamic_cast<xrttiunion*>(type)) return act(visitor_.beginUnion(u, o));
    return velTrContinue;
  }

  void kindEnd(xrttiobject* type, const Object& o) {
    if (auto* s = dynamic_cast<xrttistruct*>(type)) {
      act(visitor_.endStructure(s, o));
    } else if (auto* q = dynamic_cast<xrttisequence*>(type)) {
      act(visitor_.endSequence(q, o));
    } else if (auto* d = dynamic_cast<xrttidictionary*>(type)) {
      act(visitor_.endDictionary(d, o));
    } else if (auto* a = dynamic_cast<xrttiarray*>(type)) {
      act(visitor_.endArray(a, o));
    } else if (auto* u = dynamic_cast<xrttiunion*>(type)) {
      act(visitor_.endUnion(u, o));
    }
  }

  // True for leave.
  bool contents(xrttiobject* type, const Object& o, std::set<xrttiobject*>& done) {
    for (int i = 0; i < type->getNParents(); ++i) {
      xrttiobject* parent = type->getParent(i);
      if (!done.insert(parent).second) continue;
      if (contents(parent, o, done)) return true;
    }
    if (auto* s = dynamic_cast<xrttistruct*>(type)) return attributes(s, o);
    if (auto* a = dynamic_cast<xrttiarray*>(type)) {
      array(a, o);
    } else if (auto* q = dynamic_cast<xrttisequence*>(type)) {
      sequence(q, o);
    } else if (auto* d = dynamic_cast<xrttidictionary*>(type)) {
      dictionary(d, o);
    } else if (auto* u = dynamic_cast<xrttiunion*>(type)) {
      choice(u, o);
    }
    return false;
  }

  bool attributes(xrttistruct* type, const Object& o) {
    for (int i = 0; i < type->getNAttrs(); ++i) {
      xrttiattr* attr = type->getAttr(i);
      const int begun = act(visitor_.beginStructAttribute(type, attr, o));
      if (begun == velTrSkip) continue;
      if (begun == velTrLeave) return true;
      value(guard(xany(), [&] { return attr->getValue(o); }));
      if (act(visitor_.endStructAttribute(type, attr, o)) == velTrLeave) return true;
    }
    return false;
  }

  void sequence(xrttisequence* type, const Object& o) {
    const int count = guard(0, [&] { return type->getSize(o); });
    for (int i = 0; i < count; ++i) {
      const int begun = act(visitor_.beginSeqElement(type, i, o));
      if (begun == velTrSkip) continue;
      if (begun == velTrLeave) return;
      value(guard(xany(), [&] { return type->getElemValue(o, i); }));
      if (act(visitor_.endSeqElement(type, i, o)) == velTrLeave) return;
    }
  }

  void dictionary(xrttidictionary* type, const Object& o) {
    const int count = guard(0, [&] { return type->getSize(o); });
    for (int i = 0; i < count; ++i) {
      xstring key;
      if (!guard(false, [&] { return type->getElemKeyByIdx(o, i, &key) != 0; })) continue;
      const int begun = act(visitor_.beginDictElement(type, key, o));
      if (begun == velTrSkip) continue;
      if (begun == velTrLeave) return;
      value(guard(xany(), [&] {
        xany found;
        return type->getElemValueByIdx(o, i, &found) ? found : xany("<uninit>");
      }));
      if (act(visitor_.endDictElement(type, key, o)) == velTrLeave) return;
    }
  }

  void choice(xrttiunion* type, const Object& o) {
    xrttiattr* discriminator = type->getDiscr();
    const xany label = guard(xany(), [&] { return discriminator->getValue(o); });
    const int begun = act(visitor_.beginUnionDicriminator(type, discriminator, o));
    if (begun == velTrLeave) return;
    if (begun != velTrSkip) {
      value(label);
      if (act(visitor_.endUnionDicriminator(type, discriminator, o)) == velTrLeave) return;
    }
    xrttiattr* member = nullptr;
    const auto select = [&](int number) {
      member =
          guard(static_cast<xrttiattr*>(nullptr), [&] { return type->mapLabelToAttr(number, 1); });
    };
    switch (label.getkind()) {
      case xanyUninit:
        select(INT_MIN + 1);
        break;
      case xanyNil:
        select(INT_MIN);
        break;
      case xanyInt:
      case xanyEnum:
        select(label);
        break;
      case xanyBool:
        select(label == true ? 1 : 0);
        break;
      default:
        break;
    }
    const int asked = act(visitor_.beginUnionValue(type, member, o));
    if (asked == velTrSkip || asked == velTrLeave) return;
    if (member) value(guard(xany(), [&] { return member->getValue(o); }));
    act(visitor_.endUnionValue(type, member, o));
  }

  void array(xrttiarray* type, const Object& o) {
    const auto index = xintsequence::create();
    for (int d = 0; d < type->getNDimentions(); ++d) index->append(0);
    if (type->getNDimentions() > 0) dimension(type, o, 0, index);
  }

  // True for leave.
  bool dimension(xrttiarray* type, const Object& o, int d, const xrchandle<xintsequence>& index) {
    const int size = type->getDimention(d);
    for (int i = 0; i < size; ++i) {
      index->set(d, i);
      if (d + 1 < type->getNDimentions()) {
        if (act(visitor_.beginArrayDimension(type, d, index, o)) == velTrLeave) return true;
        if (dimension(type, o, d + 1, index)) return true;
        index->set(d + 1, 0);
        if (act(visitor_.endArrayDimension(type, d, index, o)) == velTrLeave) return true;
      } else {
        const int begun = act(visitor_.beginArrayElement(type, index, o));
        if (begun == velTrSkip) continue;
        if (begun == velTrLeave) return true;
        value(guard(xany(), [&] { return type->getElemValue(o, index); }));
        if (act(visitor_.endArrayElement(type, index, o)) == velTrLeave) return true;
      }
    }
    return false;
  }

  velTraverser& visitor_;
  std::set<xobject*> path_;
};

/// What the parts of a VelWorld throw.
class VelWorldFailure : public xthrowable {
 public:
  VelWorldFailure() { ++alive(); }
  ~VelWorldFailure() override { --alive(); }
  static int& alive() {
    static int count = 0;
    return count;
  }
};

/// Random types and objects of them, which hold one another in every way that
/// there is; `pick` answers a number from low to high and so makes each choice.
class VelWorld {
 public:
  using Pick = std::function<int(int low, int high)>;

  explicit VelWorld(Pick choose) : pick(std::move(choose)) {
    for (const char* name : {"a", "b", "c", "d", "e"}) {
      attrs_.push_back(std::make_unique<VelAttr>(name));
    }
    const int nTypes = pick(1, 8);
    for (int i = 0; i < nTypes; ++i) addType("T" + std::to_string(i));
    // Parents come last: any type may be anyone's, its own included.
    for (auto& parents : parentLists_) {
      for (int n = pick(0, 5) - 2; n > 0; --n) parents->push_back(any(types_));
    }
    const int nThings = pick(1, 6);
    for (int i = 0; i < nThings; ++i) things_.push_back(new VelThing(any(types_)));
    for (auto& thing : things_) fill(*thing.operator->());
  }

  xany root() { return xany(things_[0]); }
  std::string& log() { return log_; }
  /// Every thing is held by the world alone.
  bool settled() {
    for (auto& thing : things_) {
      if (xrcgetcount(thing) != 1) return false;
    }
    return VelWorldFailure::alive() == 0;
  }

 private:
  // One of `list`, whose elements point to a T somehow.
  template <class Pointer>
  auto any(std::vector<Pointer>& list) -> decltype(&*list[0]) {
    return &*list[static_cast<std::size_t>(pick(0, static_cast<int>(list.size()) - 1))];
  }

  std::vector<xrttiattr*> someAttrs() {
    std::vector<xrttiattr*> some;
    for (int n = pick(0, 3); n > 0; --n) some.push_back(any(attrs_));
    return some;
  }

  template <class Type>
  void own(std::unique_ptr<Type> type) {
    parentLists_.push_back(&type->parentList);
    types_.emplace_back(std::move(type));
  }

  void addType(const std::string& name) {
    switch (pick(0, 6)) {
      case 0:
        return own(std::make_unique<VelPlainType>(name.c_str()));
      case 1:
        return own(std::make_unique<VelSeqType>(name.c_str()));
      case 2:
        return own(std::make_unique<VelDictType>(name.c_str()));
      case 3: {
        std::vector<int> sizes;
        for (int n = pick(0, 3); n > 0; --n) sizes.push_back(pick(-1, 3));
        return own(std::make_unique<VelArrayType>(name.c_str(), sizes));
      }
      case 4: {
        std::vector<VelUnionType::Branch> branches;
        for (int n = pick(0, 3); n > 0; --n) {
          branches.push_back({pick(0, 3) == 0 ? INT_MIN + pick(0, 1) : pick(0, 2),
                              pick(0, 5) == 0 ? nullptr : any(attrs_)});
        }
        xrttiattr* fallback = pick(0, 1) ? any(attrs_) : nullptr;
        return own(std::make_unique<VelUnionType>(name.c_str(), any(attrs_), branches, fallback));
      }
      default:
        return own(
            std::make_unique<VelStructType>(name.c_str(), VelStructType::Parents{}, someAttrs()));
    }
  }

  [[noreturn]] void fail(int sort) {
    if (sort == 0) throw velTraverseXStop();
    if (sort < 5) xthrow(xrcunihandle<xthrowable>(new VelWorldFailure));
    throw sort;
  }

  xany constant() {
    static const char* const names[] = {"zero", "one"};
    static xrttienum type("Enum", 2, names);
    switch (pick(0, 13)) {
      case 0:
        return xany();
      case 1:
        return xany(xanyNil);
      case 2:
        return xany(pick(0, 1) == 1);
      case 3:
        return xany(pick(0, 9) / 2.0);
      case 4:
        return xany("text");
      case 5:
        return xany(pick(-1, 3), &type);
      case 6:
        return pick(0, 1) ? xany(1, static_cast<xrttienum*>(nullptr)) : xany(xanyString);
      default:
        return xany(pick(-1, 3));
    }
  }

  VelThing::Value part(const std::string& name) {
    const auto read = [this, name] { log_ += "read " + name + '\n'; };
    const int sort = pick(0, 19);
    if (sort < 2) {
      const int failure = pick(0, 9);
      return [=]() -> xany {
        read();
        fail(failure);
      };
    }
    if (sort < 9) {
      VelThing* other = any(things_);
      return [=] {
        read();
        return xany(other);
      };
    }
    const xany value = constant();
    return [=] {
      read();
      return value;
    };
  }

  void fill(VelThing& thing) {
    for (const char* name : {"a", "b", "c", "d"}) thing.values[name] = part(name);
    for (int i = 0; i < 27; ++i) thing.items.push_back(part("item " + std::to_string(i)));
    for (int i = 0; i < 4; ++i) {
      VelThing::Entry entry;
      const int sort = pick(0, 9);
      entry.key = [=](xstring* key) {
        log_ += "key " + std::to_string(i) + '\n';
        if (sort == 0) fail(3);
        if (sort == 1) return false;
        *key = sort == 2 ? xstring() : xstring(std::to_string(i).c_str());
        return true;
      };
      const VelThing::Value value = part("entry " + std::to_string(i));
      const bool present = pick(0, 4) != 0;
      entry.value = [=](xany* out) {
        *out = value();
        return present;
      };
      thing.entries.push_back(entry);
    }
    const int count = pick(-1, 4);
    thing.count = [=] {
      log_ += "count\n";
      if (count == 4) fail(5);
      return count;
    };
  }

  Pick pick;
  std::vector<std::unique_ptr<VelAttr>> attrs_;
  std::vector<VelTyped<xrttiobject>::Parents*> parentLists_;
  std::vector<std::unique_ptr<xrttiobject>> types_;
  std::vector<xrchandle<VelThing>> things_;
  std::string log_;
};

#endif  // VELSTD_TESTS_VELTEST_WALKMODEL_H
