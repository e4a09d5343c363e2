#include "mac/Tessel/Health/AppHealthCheck.h"

#include "mac/Tessel/Health/AppHealthSchema.h"
#include "mac/Tessel/Values/Precondition.h"

namespace tessel {

AppHealthCheck::AppHealthCheck(std::string givenId, AppHealthCategory givenCategory,
                               Operation givenOperation)
    : id(std::move(givenId))
    , category(givenCategory)
    , operation(std::move(givenOperation)) {
    precondition(AppHealthSchema::validStableID(id), "a health check's id is a stable identifier");
}

} // namespace tessel
