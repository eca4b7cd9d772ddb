#include "messageCatalogue.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>

namespace kelhost {
namespace {

struct Message {
    int32_t sqlcode;
    const char* text;
};

constexpr Message messages[] = {
    {0, "Done."},
    {25, "The package was bound with warnings."},
    {100, "No row was found, or the statement changed none."},
    {-104, "The statement is not correct SQL: {1}"},
    {-171, "Argument {1} of the routine \"{2}\" is missing or not valid."},
    {-204, "\"{1}\" is an undefined name."},
    {-206, "\"{1}\" is not a column of the tables of the statement."},
    {-302, "A value is too large for its place: {1}"},
    {-407, "A null value was given for a column that allows none: {1}"},
    {-433, "The value \"{1}\" is too long."},
    {-440, "There is no routine \"{1}\" with these arguments."},
    {-501, "The cursor is not open."},
    {-545, "A value does not satisfy a rule of its table: {1}"},
    {-551, "The caller has no right to do this: {1}"},
    {-601, "\"{1}\" exists already and is something else."},
    {-803, "A row with this key exists already: {1}"},
    {-805, "The package \"{1}\" was not found in the database."},
    {-818, "The package and the program were not made together."},
    {-900, "There is no connection to a database: the thread has no engine context."},
    {-901, "The database reports a failure: {1}"},
    {-902, "Reading or writing failed: {1}"},
    {-904, "A resource is not available: {1}"},
    {-911, "The statement waited too long for another unit of work, and was given up: {1}"},
    {-954, "There is not enough memory."},
    {-964, "The log of the database, or its device, is full: {1}"},
    {-1436, "The policy file \"{1}\" is missing, cannot be read, or is empty."},
    {-1437, "The policy document is not correct XML or does not follow its schema: {1}"},
    {-1438, "The policy document cannot be read: {1}"},
    {-1447, "A value of the policy document is not valid: {1}"},
    {-1448, "The policy file \"{1}\" cannot be written."},
    {-30081, "The connection to the database failed: {1}"},
    {-99999, "The call-level interface reports a failure: {1}"},
};

}  // namespace

std::string messageKey(int32_t sqlcode) {
    return fmt::format("KEL{:04}{}", std::abs(static_cast<int64_t>(sqlcode)), sqlcode < 0 ? 'N' : 'W');
}

const char* builtInMessage(int32_t sqlcode) noexcept {
    const auto* const found = std::find_if(std::begin(messages), std::end(messages),
                                           [sqlcode](const Message& message) { return message.sqlcode == sqlcode; });
    return found == std::end(messages) ? nullptr : found->text;
}

}  // namespace kelhost
