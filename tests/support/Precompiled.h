// What nearly every test includes beside what every source does, compiled once. Tests still include what they use.
#include "cmake/Precompiled.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <thread>
