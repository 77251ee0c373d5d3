#include "settings/number2cstring.h"

#include <cstdio>

char number[50];

const char* number2str(int value)
{
  std::snprintf(number, sizeof number, "%d", value);
  return number;
}

const char* number2str(unsigned int value)
{
  std::snprintf(number, sizeof number, "%u", value);
  return number;
}

const char* number2str(float value)
{
  std::snprintf(number, sizeof number, "%g", static_cast<double>(value));
  return number;
}
