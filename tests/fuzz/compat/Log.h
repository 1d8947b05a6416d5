#pragma once

#define YMD_LOG_WARNING(function, format, text) (void(function), void(text))
