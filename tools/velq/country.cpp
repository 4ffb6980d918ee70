#include "country.h"

#include "command.h"
#include "velcollectionrtti.h"
#include "xcollections.h"

namespace demo {

namespace {

const char kListKey[] = "3166-1";

// `value` as a collection of class C; null for anything else.
template <class C>
C* As(const xany& value) {
  if (value.isnil() || value.isuninit() || !value.isobject()) return nullptr;
  return C::softcast(value.operator xobject*());
}

// The text under `key`. Null if it is absent, unless it is `required`.
xstring TextOf(const std::string& where, xanydictionary* entry, const char* key, bool required) {
  xany value;
  const bool found = entry->find(key, &value);
  if (!found && !required) return xstring();
  if (!found || value.getkind() != xanyString) {
    throw Failure(where + '.' + key + (found ? " is no text" : " is missing"));
  }
  return value.operator xstring();
}

}  // namespace

VEL_ATTRIBUTED_RTTI(Country, "demo::Country", nullptr, VEL_ATTRIBUTE_INFO(Name),
                    VEL_ATTRIBUTE_INFO(OfficialName), VEL_ATTRIBUTE_INFO(CommonName),
                    VEL_ATTRIBUTE_INFO(Alpha2), VEL_ATTRIBUTE_INFO(Alpha3),
                    VEL_ATTRIBUTE_INFO(Numeric), VEL_ATTRIBUTE_INFO(Flag))

VEL_OBJECT_RTTI(CountrySeq, xrttisequence, [](xrttisequence* rtti) {
  velInitializeSequence<CountrySeq>(rtti, "demo::CountrySeq", Country::getClassRtti());
})

xrchandle<Country> Country::fromEntry(const std::string& where, const xany& entry) {
  auto* texts = As<xanydictionary>(entry);
  if (!texts) throw Failure(where + " is no object");
  xrchandle<Country> country = new Country;
  country->_s11n_setName(TextOf(where, texts, "name", true));
  country->_s11n_setOfficialName(TextOf(where, texts, "official_name", false));
  country->_s11n_setCommonName(TextOf(where, texts, "common_name", false));
  country->_s11n_setAlpha2(TextOf(where, texts, "alpha_2", true));
  country->_s11n_setAlpha3(TextOf(where, texts, "alpha_3", true));
  country->_s11n_setNumeric(TextOf(where, texts, "numeric", true));
  country->_s11n_setFlag(TextOf(where, texts, "flag", true));
  return country;
}

void registerCountryTypes() {
  Country::getClassRtti();
  CountrySeq::getClassRtti();
}

xrchandle<CountrySeq> countriesOf(const std::string& path, const xany& document) {
  const std::string where = path + ": $." + kListKey;
  auto* lists = As<xanydictionary>(document);
  xany list;
  if (!lists || !lists->find(kListKey, &list)) throw Failure(where + " is missing");
  auto* entries = As<xanysequence>(list);
  if (!entries) throw Failure(where + " is no array");
  xrchandle<CountrySeq> countries = new CountrySeq;
  for (int i = 0; i < entries->getarraysize(); ++i) {
    const std::string place = where + '[' + std::to_string(i) + ']';
    countries->append(Country::fromEntry(place, entries->get(i)));
  }
  return countries;
}

}  // namespace demo
