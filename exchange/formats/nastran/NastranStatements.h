#pragma once

#include <string>
#include <string_view>

/// The lines of a deck that are no cards.
namespace orq::exchange {

/// Takes the first line of a text, without its end.
std::string_view TakeBulkLine(std::string_view& rest);
std::string_view WithoutBulkComment(std::string_view line);
/// The first word of a text in upper case.
std::string BulkFirstWord(std::string_view text);
/// Whether a file begins with control statements rather than with bulk data.
bool BeginsWithControl(std::string_view contents);
/// "SUPER=2" of a line "BEGIN BULK SUPER = 2"; empty for the main bulk data.
std::string NameOfBulkPart(std::string_view begin);
/// `text` with the values of environment variables for "$NAME", "${NAME}", "%NAME%" and, as its
/// beginning, "NAME:". What is not set stays as it is.
std::string WithEnvironment(std::string text);

}  // namespace orq::exchange
