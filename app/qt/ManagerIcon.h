// ManagerIcon.h - the program's icon, drawn at every size a desktop asks for.
#pragma once

#include <QIcon>

namespace Kestrova {

// A wave over a row of keys. Needs the application object.
QIcon ManagerIcon();

}  // namespace Kestrova
