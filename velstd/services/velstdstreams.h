// velstdstreams.h - the standard streams, without their header's price.
//
// <iostream> gives every file that includes it a static object with an exit
// handler. These functions make sure that the streams are set up, which then
// lasts until the process ends; a C program that loads the library can print
// too.
#ifndef VELSTD_SERVICES_VELSTDSTREAMS_H
#define VELSTD_SERVICES_VELSTDSTREAMS_H

#include <iosfwd>

std::ostream& velStandardOutput();
std::ostream& velStandardError();

#endif  // VELSTD_SERVICES_VELSTDSTREAMS_H
