// ApplicationServices.h: graphics and image services.
#pragma once

#include <ApplicationServices/Processes.h>
#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>
#include <ImageIO/ImageIO.h>
