// country.h - countries as a type of their own, made from a JSON document.
//
// Shows what a user of the framework writes: a structure with attributes, a
// sequence class, and their descriptors, through which any visitor reads them.
#ifndef VELSTD_TOOLS_VELQ_COUNTRY_H
#define VELSTD_TOOLS_VELQ_COUNTRY_H

#include <string>

#include "velattributes.h"
#include "xany.h"
#include "xrchandle.h"
#include "xstring.h"
#include "xtcsequence.h"

namespace demo {

/// "demo::Country": one entry of ISO 3166-1. Texts that the list does not have
/// for a country are null.
class Country : public virtual xobject {
  VEL_ATTRIBUTED(Country, xobject())
  VEL_ATTRIBUTE(xstring, Name)
  VEL_ATTRIBUTE(xstring, OfficialName)
  VEL_ATTRIBUTE(xstring, CommonName)
  VEL_ATTRIBUTE(xstring, Alpha2)
  VEL_ATTRIBUTE(xstring, Alpha3)
  VEL_ATTRIBUTE(xstring, Numeric)
  VEL_ATTRIBUTE(xstring, Flag)
 public:
  Country() = default;
  Country(const Country&) = delete;
  Country& operator=(const Country&) = delete;

  /// The country that the dictionary `entry` describes; `where` names the entry
  /// in messages.
  /// Throws Failure (command.h) if a text is missing or is no text.
  static xrchandle<Country> fromEntry(const std::string& where, const xany& entry);
};

/// "demo::CountrySeq": a sequence of countries.
class CountrySeq : public xtcsequence<xrchandle<Country>> {
  VEL_OBJECT(CountrySeq)
 public:
  CountrySeq() : xtcsequence(0) {}
};

/// Makes and registers both descriptors.
void registerCountryTypes();

/// The countries of the document iso_3166-1.json, loaded from `path`.
/// Throws Failure (command.h) with the place for a document of another form.
xrchandle<CountrySeq> countriesOf(const std::string& path, const xany& document);

}  // namespace demo

#endif  // VELSTD_TOOLS_VELQ_COUNTRY_H
