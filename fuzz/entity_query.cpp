// The query of /api/entities.
#include "fuzz/Fuzzing.h"
#include "ostrad/Http.h"
#include "ostrad/Modes.h"
#include "ostrad/Naming.h"
#include "ostrad/RequestParameters.h"

#include <string>

using fuzzing::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(fuzzing::textOf(data, size));
    const auto target = ostrad::parseTarget("/api/entities?" + text);
    if (!target) {
        return 0;
    }
    const auto query = ostrad::entityQuery(target->query);
    if (!query) {
        require(query.error().status == 400, "a wrong query is the client's mistake");
        require(ostrad::validUtf8(query.error().sentence) == query.error().sentence,
                "a refusal can be told");
        return 0;
    }
    require(query->type.empty() || ostrad::findEntityType(query->type) != nullptr,
            "the type is one of ours");
    require(!query->type.empty() || query->parentId || !query->search.empty(),
            "nobody gets everything");
    require(query->limit >= 0 && query->limit <= 500, "a page is bounded");
    require(query->offset >= 0, "pages begin at the beginning");
    require(ostrad::validUtf8(query->search) == query->search, "what is searched for is text");
    return 0;
}
