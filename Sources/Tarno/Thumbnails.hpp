#pragma once

#include <QImage>
#include <QSize>

#include <string>

// Small pictures of the user's files, as a file manager shows them: the one
// the desktop has already made in the freedesktop thumbnail cache when it is
// still current, else the file itself decoded at a reduced size when it is a
// picture Qt reads. Safe on any thread; no icon theme involved.
namespace tarno::Thumbnails {

// A picture of the file that fits `size`; a null image when there is none.
// `cacheFolder` is the user's cache folder (~/.cache).
QImage load(const std::string& path, QSize size, const std::string& cacheFolder);

// Where the desktop keeps its picture of the file, of each of the cache's
// sizes ("normal", "large", …): the MD5 of its file URI, in hexadecimal, + ".png".
std::string cachedName(const std::string& path);

} // namespace tarno::Thumbnails
