#include "XManager.h"

XManager::~XManager() { cleanup(); }

void XManager::cleanup() {}
