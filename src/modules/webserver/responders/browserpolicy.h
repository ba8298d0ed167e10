#pragma once

class Message;

// Tells browsers what they may do with a page or a file of the device: take it for nothing but its
// content type, tell other sites nothing of its URL, and show it in frames of the device only,
// where no foreign page can lay its own buttons over the device's.
void setBrowserPolicy(Message* message);
