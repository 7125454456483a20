#pragma once
// A small touch-style UI toolkit on Qt Widgets: views, labels, images, a progress bar, an activity
// spinner, a navigation bar with its item and bar buttons, alerts (message, buttons in order with
// their styles, one optional text field), a grouped table with reusable cells, batch updates and a
// refresh control, and layout constraints with their solver. Everything renders the same in a
// window or off screen, and every element can describe its state as data for automation and tests.
// As on a touch platform, a toolkit view made inside a parent appears with it unless hidden. This
// header brings in the whole toolkit.

#include "platform/ui/ActivityIndicatorView.h"
#include "platform/ui/Alert.h"
#include "platform/ui/Geometry.h"
#include "platform/ui/Image.h"
#include "platform/ui/Label.h"
#include "platform/ui/LayoutConstraint.h"
#include "platform/ui/LayoutSolver.h"
#include "platform/ui/NavigationBar.h"
#include "platform/ui/ProgressView.h"
#include "platform/ui/RuntimeDirectory.h"
#include "platform/ui/ScreenDescription.h"
#include "platform/ui/ScreenEvents.h"
#include "platform/ui/View.h"
#include "platform/ui/table/IndexPath.h"
#include "platform/ui/table/RefreshControl.h"
#include "platform/ui/table/TableView.h"
#include "platform/ui/table/TableViewCell.h"
#include "platform/ui/table/TableViewDataSource.h"
