// quorvex_gen: writes, at build time, the files that are installed for the desktop and the shell
// from the code that the program itself runs, so that they cannot drift apart from it:
//   quorvex_gen man OUT [MANUAL]   the manual page, from the help (MANUAL: the installed manual)
//   quorvex_gen completion OUT     the bash completion, from the help
//   quorvex_gen icon OUT.svg       the program's icon as SVG
//   quorvex_gen icon OUT.png SIZE  the program's icon as a SIZE x SIZE picture

#include <QPainter>
#include <QSvgGenerator>

#include <charconv>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

#include "cli/Help.h"
#include "shell/Artwork.h"

namespace {

bool WriteText(const std::string& path, void (*print)(std::ostream&)) {
  std::ofstream out(path, std::ios::binary);
  print(out);
  out.close();
  return static_cast<bool>(out);
}

bool WriteSvgIcon(const std::string& path) {
  constexpr int kSize = 256;
  QSvgGenerator svg;
  svg.setFileName(QString::fromStdString(path));
  svg.setSize(QSize(kSize, kSize));
  svg.setViewBox(QRect(0, 0, kSize, kSize));
  svg.setTitle(QStringLiteral("Quorvex"));
  QPainter painter;
  if (!painter.begin(&svg)) return false;
  qv::DrawAppIcon(painter, kSize);
  return painter.end();
}

int Usage() {
  std::cerr << "usage: quorvex_gen man OUT [MANUAL] | completion OUT | icon OUT.svg | "
               "icon OUT.png SIZE\n";
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return Usage();
  const std::string_view what = argv[1];
  const std::string out = argv[2];
  bool written = false;
  if (what == "man" && argc <= 4) {
    const std::string manual = argc == 4 ? argv[3] : "";
    std::ofstream file(out, std::ios::binary);
    qv::cli::PrintManPage(file, manual);
    file.close();
    written = static_cast<bool>(file);
  } else if (what == "completion" && argc == 3) {
    written = WriteText(out, qv::cli::PrintBashCompletion);
  } else if (what == "icon" && argc == 3 && out.ends_with(".svg")) {
    written = WriteSvgIcon(out);
  } else if (what == "icon" && argc == 4) {
    const std::string_view sizeText = argv[3];
    int size = 0;
    const auto [end, error] = std::from_chars(sizeText.begin(), sizeText.end(), size);
    if (error != std::errc() || end != sizeText.end() || size < 1 || size > 4096) return Usage();
    written = qv::AppIconImage(size).save(QString::fromStdString(out), "PNG");
  } else {
    return Usage();
  }
  if (!written) {
    std::cerr << "quorvex_gen: cannot write " << out << "\n";
    return 1;
  }
  return 0;
}
