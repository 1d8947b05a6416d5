#pragma once

#define YMD_LOG_WARNING(function, format, text) static_cast<void>(text)
