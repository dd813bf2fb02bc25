// `zelgen demo`: a gallery of the built-in phantom, as a new user's first
// look at what the library draws.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "commands.h"
#include "cpr.h"
#include "layers.h"
#include "output.h"
#include "png_writer.h"
#include "readers.h"
#include "sheet.h"

namespace {

struct GalleryItem {
    const char* file;
    const char* title;  // also the contact sheet caption
    std::vector<std::string> args;
    bool cpr = false;  // `zelgen cpr` along the phantom's vessel, else `zelgen render`
};

const std::vector<GalleryItem>& Gallery()
{
    static const std::vector<GalleryItem> items = {
        {"axial.png", "Axial, brain window", {"--window", "brain"}},
        {"coronal.png", "Coronal, brain window", {"--plane", "coronal", "--window", "brain"}},
        {"sagittal.png", "Sagittal, brain window", {"--plane", "sagittal", "--window", "brain"}},
        {"oblique.png", "Oblique, tilted 25/15 deg", {"--tilt", "25,15", "--window", "brain"}},
        {"axial-mip.png", "Axial MIP 30 mm, angio", {"--slab", "30", "--mip", "--window", "angio"}},
        {"coronal-mip.png",
         "Coronal MIP 40 mm, angio",
         {"--plane", "coronal", "--slab", "40", "--mip", "--window", "angio"}},
        {"bone.png", "Orbits, bone window", {"--window", "bone", "--position", "55"}},
        {"subdural.png", "Axial, subdural window", {"--window", "subdural"}},
        {"stroke.png", "Axial, stroke window", {"--window", "stroke", "--position", "100"}},
        {"sigmoid.png", "Sigmoid brain window", {"--window", "brain", "--sigmoid"}},
        {"gamma.png", "Soft tissue, gamma 2.2", {"--window", "soft-tissue", "--gamma", "2.2"}},
        {"zoom-rotate.png", "Zoom 2, turned 30 deg", {"--zoom", "2", "--rotate", "30", "--window", "brain"}},
        {"labels.png", "Structures, label overlay", {"--phantom-labels", "--window", "brain", "--position", "100"}},
        {"outlines.png",
         "Structure outlines, sagittal",
         {"--plane", "sagittal", "--phantom-labels", "--outline", "--window", "brain", "--position", "-64"}},
        {"fused-pet.png", "Fused with a simulated PET", {"--phantom-pet", "--alpha", "0.4", "--window", "brain"}},
        {"viridis.png", "Bone window, viridis", {"--window", "bone", "--palette", "viridis", "--position", "55"}},
        {"cpr-straight.png", "Vessel straightened (CPR)", {"--window", "angio"}, true},
        {"cpr-turned.png", "Straightened, turned 90 deg", {"--rotate", "90", "--window", "angio"}, true},
        {"cpr-stretched.png", "Vessel stretched (CPR)", {"--mode", "stretch", "--window", "angio"}, true},
        {"cpr-mip.png",
         "Stretched CPR, MIP 6 mm",
         {"--mode", "stretch", "--slab", "6", "--mip", "--window", "angio"},
         true},
    };
    return items;
}

std::string HtmlEscape(const std::string& text)
{
    std::string out;
    for (char c : text) {
        if (c == '<')
            out += "&lt;";
        else if (c == '>')
            out += "&gt;";
        else if (c == '&')
            out += "&amp;";
        else
            out += c;
    }
    return out;
}

std::string CommandLine(const GalleryItem& item)
{
    std::string line = item.cpr ? "zelgen cpr --phantom" : "zelgen render --phantom";
    for (const std::string& a : item.args) line += " " + a;
    return line + " -o " + item.file;
}

}  // namespace

int RunDemo(const std::vector<std::string>& args)
{
    if (!args.empty() && (args[0] == "--help" || args[0] == "-h")) {
        std::fputs(DemoUsage(), stdout);
        return 0;
    }
    if (args.size() != 1 || args[0].empty() || args[0][0] == '-')
        return ReportError(args.empty() ? "demo needs an output directory (zelgen demo OUTDIR)"
                                        : "demo takes one output directory, got '" + args[0] + "'");
    namespace fs = std::filesystem;
    const fs::path dir = args[0];
    std::error_code ec;
    fs::create_directories(dir, ec);
    if (ec || !fs::is_directory(dir)) return ReportError("cannot make directory '" + args[0] + "'");

    InputOptions input;
    input.phantom = true;
    Volume volume;
    std::string error;
    if (!LoadVolume(input, volume, error)) return ReportError(error);
    const ValueStats stats = ComputeValueStats(volume);

    const std::vector<GalleryItem>& items = Gallery();
    const int columns = 4, cell = 224;
    Sheet sheet(columns, static_cast<int>((items.size() + columns - 1) / columns), cell, cell, 4, true, 3);
    if (!sheet.Create()) return ReportError("not enough memory for the contact sheet");

    std::string figures;
    for (std::size_t i = 0; i < items.size(); ++i) {
        const GalleryItem& item = items[i];
        const std::string path = (dir / item.file).string();
        for (int pass = 0; pass < 2; ++pass) {
            // Pass 0: the gallery picture; pass 1: its thumbnail for the sheet.
            std::vector<std::string> arguments = item.args;
            arguments.insert(arguments.end(), {"--phantom", "-o", path});
            if (pass == 1)
                arguments.insert(arguments.end(), {"--size", std::to_string(cell) + "x" + std::to_string(cell)});
            RenderOptions options;
            CprOptions cpr;
            bool help = false;
            std::unique_ptr<PlaneChoice> planes;
            PictureRecipe recipe;
            ZelImageBuffer buffer;
            std::vector<std::string> notes;
            const bool ok = item.cpr ? ParseCprOptions(arguments, cpr, help, error) &&
                                           (planes = MakeCprPlane(volume, cpr, error)) != nullptr &&
                                           PlanDisplay(volume, stats, cpr.picture, recipe.display, error)
                                     : ParseRenderOptions(arguments, options, help, error) &&
                                           (planes = ChoosePlanes(volume, options.plane, 0, error)) != nullptr &&
                                           PlanDisplay(volume, stats, options.picture, recipe.display, error) &&
                                           AddLayers(volume, *planes, input, options.layers, options.plane.nearest,
                                                     recipe, notes, error);
            // The phantom's minimum, as for a picture without --background.
            if (ok) planes->SetBackground(StoredBackground(volume, stats, options.plane));
            if (!ok || !RenderPicture(RenderJob{volume.image.get(), *planes, recipe}, 0, buffer, error))
                return ReportError(std::string(item.file) + ": " + error);
            if (pass == 1) {
                sheet.Place(static_cast<int>(i), buffer, item.title);
                continue;
            }
            if (!WritePng(path, buffer, error)) return ReportError(error);
            figures += "<figure><img src=\"" + std::string(item.file) + "\" alt=\"" + HtmlEscape(item.title) +
                       "\"><figcaption><b>" + HtmlEscape(item.title) + "</b><br>" + HtmlEscape(planes->Caption(0)) +
                       ", " + HtmlEscape(recipe.display.caption) + "<br><code>" + HtmlEscape(CommandLine(item)) +
                       "</code></figcaption></figure>\n";
        }
    }
    if (!WritePng((dir / "gallery.png").string(), sheet.Buffer(), error)) return ReportError(error);

    const fs::path index = dir / "index.html";
    const fs::path temp = dir / "index.html.tmp";
    {
        std::ofstream html(temp);
        html << "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
                "<title>zelgen gallery</title>\n<style>\n"
                "body{background:#111;color:#ddd;font-family:sans-serif;margin:2em}\n"
                "main{display:flex;flex-wrap:wrap;gap:1.5em}\n"
                "figure{margin:0;width:300px}\nimg{width:300px;image-rendering:auto;background:#000}\n"
                "figcaption{font-size:13px;line-height:1.4}\ncode{color:#9cf;font-size:11px}\n"
                "</style></head><body>\n<h1>zelgen gallery: the built-in head phantom</h1>\n"
                "<p>256&times;256&times;112 voxels of 0.7&times;0.7&times;1.5 mm in Hounsfield units, shown the "
                "radiological way (patient's left on the picture's right, head at the top). "
                "<a href=\"gallery.png\">Contact sheet</a>.</p>\n<main>\n"
             << figures << "</main>\n</body></html>\n";
        if (!html.good()) return ReportError("cannot write '" + index.string() + "'");
    }
    fs::rename(temp, index, ec);
    if (ec) return ReportError("cannot write '" + index.string() + "'");
    std::printf("zelgen: gallery of %zu pictures written to %s\n", items.size(),
                fs::absolute(index).lexically_normal().string().c_str());
    return 0;
}
