// What `quorvex log explain` prints of a story.
#pragma once

#include <string>

#include "inspection/logs/logstory.h"
#include "tools/json.h"

namespace tools {

// The story for a person, in lines of at most `width` columns, ended by an empty line.
std::string StoryText(const inspection::logs::MailStory& mail, std::size_t width);

// The story as one JSON object.
Json StoryJson(const inspection::logs::MailStory& mail);

}  // namespace tools
