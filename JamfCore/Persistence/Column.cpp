#include "JamfCore/Persistence/Column.h"

namespace jamf {

platform::UUID detail::readUUID(const platform::Statement& statement, int place) {
  const auto id = platform::UUID::parse(statement.text(place));
  if (!id)
    throw platform::DatabaseError(platform::DatabaseErrorKind::damaged,
                                  "The local database is damaged: a record holds an ID that is none.");
  return *id;
}

}  // namespace jamf
