// JSON documents, and what is none, against another parser's tree of the same text; what
// is read, by tags and by types, too, can be written and read again.
#include "veljson.h"

#include <cstdint>
#include <nlohmann/json.hpp>

#include "velext.h"
#include "velfuzz.h"
#include "veljson_types.h"
#include "xcollections.h"

namespace {

using Json = nlohmann::json;

// No string holds a zero character, so such documents are refused.
bool HoldsZero(const Json& node) {
  if (node.is_string()) return node.get_ref<const std::string&>().find('\0') != std::string::npos;
  if (!node.is_structured()) return false;
  for (const auto& part : node.items()) {
    if (node.is_object() && part.key().find('\0') != std::string::npos) return true;
    if (HoldsZero(part.value())) return true;
  }
  return false;
}

void Compare(const xany& value, const Json& node) {
  switch (node.type()) {
    case Json::value_t::null:
      VEL_FUZZ_CHECK(value.getkind() == xanyNil);
      break;
    case Json::value_t::boolean:
      VEL_FUZZ_CHECK(value.getkind() == xanyBool);
      VEL_FUZZ_CHECK((value == true) == node.get<bool>());
      break;
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned: {
      // The two smallest ints stand for no number.
      const bool isInt = node >= std::int64_t{-2147483646} && node <= std::int64_t{2147483647};
      VEL_FUZZ_CHECK(value.getkind() == (isInt ? xanyInt : xanyReal));
      if (isInt) {
        VEL_FUZZ_CHECK(value.operator int() == node.get<int>());
      } else {
        VEL_FUZZ_CHECK(value.getxany_c().u.d == node.get<double>());
      }
      break;
    }
    case Json::value_t::number_float:
      VEL_FUZZ_CHECK(value.getxany_c().u.d == node.get<double>());
      break;
    case Json::value_t::string:
      VEL_FUZZ_CHECK(value.getkind() == xanyString);
      VEL_FUZZ_SAME(velUtf8(value.operator xstring()), node.get<std::string>());
      break;
    case Json::value_t::array: {
      auto* const sequence = xanysequence::cast(value);
      VEL_FUZZ_CHECK(sequence->getarraysize() == static_cast<int>(node.size()));
      int at = 0;
      for (const Json& element : node) Compare(sequence->get(at++), element);
      break;
    }
    case Json::value_t::object: {
      auto* const dictionary = xanydictionary::cast(value);
      int live = 0;
      for (int i = 0; i < dictionary->getmapsize(); ++i) {
        live += dictionary->getkeybyindex(i, nullptr);
      }
      VEL_FUZZ_CHECK(live == static_cast<int>(node.size()));
      for (const auto& entry : node.items()) {
        xany found;
        VEL_FUZZ_CHECK(dictionary->find(entry.key().c_str(), &found));
        Compare(found, entry.value());
      }
      break;
    }
    default:
      velFuzzFail(__FILE__, __LINE__, "no value of JSON", node.type_name());
  }
}

// Reads and, if that succeeds, writes and reads again; the value, if there is one.
bool CanRead(const char* type, const std::string& text, const velJsonOptions& options,
             xany& value) {
  const auto read = [&](const std::string& document) {
    return type ? velFromJson(type, document, options) : velFromJson(document, options);
  };
  const auto complaint = velFuzzCaught([&] { value = read(text); });
  if (!complaint.isnull()) {
    VEL_FUZZ_CHECK(dynamic_cast<velXSerialization*>(complaint.operator->()));
    return false;
  }
  VEL_FUZZ_CHECK(velEquals(read(velToJson(value, options)), value));
  return true;
}

}  // namespace

VEL_FUZZ(input) {
  std::string text;
  while (!input.isEmpty()) text += static_cast<char>(input.byte());
  const Json tree = Json::parse(text, nullptr, false);
  // The other parser takes a zero byte for the end.
  const bool isGood =
      !tree.is_discarded() && !HoldsZero(tree) && text.find('\0') == std::string::npos;
  xany value;
  VEL_FUZZ_CHECK(CanRead(nullptr, text, {}, value) == isGood);
  if (isGood) Compare(value, tree);
  velJsonOptions tagged;
  tagged.typeTags = true;
  VEL_FUZZ_CHECK(!CanRead(nullptr, text, tagged, value) || isGood);
  for (const char* const type : {"any", "intseq", "jsontest::Drawing", "jsontest::Collections",
                                 "jsontest::Members", "jsontest::Tree", "jsontest::Number"}) {
    VEL_FUZZ_CHECK(!CanRead(type, text, {}, value) || isGood);
    VEL_FUZZ_CHECK(!CanRead(type, text, tagged, value) || isGood);
  }
}
