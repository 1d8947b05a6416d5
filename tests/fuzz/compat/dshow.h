#pragma once

struct IBaseFilter;
