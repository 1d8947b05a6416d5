#pragma once

#include <json/json.h>
