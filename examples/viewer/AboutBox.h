// Facts, screens and fonts.
#pragma once

class QWidget;

/// Opens a box that says where the application runs; @p window is the one whose screen it tells.
void openAboutBox(QWidget* window);
