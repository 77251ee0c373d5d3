#ifndef SETTINGS_NUMBER2CSTRING_H
#define SETTINGS_NUMBER2CSTRING_H

// Numbers as decimal text in one shared static buffer. Every call overwrites
// the previous result, so a caller writes the text out before the next call.
extern char number[50];

const char* number2str(int value);
const char* number2str(unsigned int value);
const char* number2str(float value);

#endif
