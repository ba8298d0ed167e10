#pragma once

#include <QString>

// The folder that the device's own data (the web pages) is in: the installed tree's if the program
// runs from there, otherwise the source tree.
QString dataDirectory();
