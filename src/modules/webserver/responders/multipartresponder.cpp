#include "responders/multipartresponder.h"

// Here, so that the class has one home.
MultipartResponder::~MultipartResponder() = default;
