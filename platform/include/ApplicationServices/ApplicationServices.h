// ApplicationServices.h: graphics and image services.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>
#include <ImageIO/ImageIO.h>
#include <ApplicationServices/Processes.h>
