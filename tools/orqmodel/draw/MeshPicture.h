#pragma once

#include <optional>
#include <string>
#include <vector>

#include "draw/Captions.h"
#include "draw/ColourBands.h"
#include "draw/FieldValues.h"
#include "draw/Groups.h"
#include "draw/Picture.h"
#include "draw/Scene.h"
#include "draw/View.h"

namespace orqmodel {

struct MeshPictureOptions {
    std::optional<std::string> view;  ///< as View::FromText takes it
    bool isBySet = false;             ///< else coloured by block
    std::vector<std::string> sets;    ///< that are coloured; all for none
    std::vector<std::string> blocks;  ///< that are drawn; all for none
    /// Which edges of elements are drawn; without a value, all when they are not too dense.
    std::optional<EdgeKind> edges;
    /// Colours by values instead of blocks or sets.
    std::optional<FieldValues> field;
    PictureSize size{1200, 900};
};

/// A mesh as a picture: its skin, shaded and in the colours of blocks, of sets or of a field's
/// values, under a title, beside a legend and the directions of the axes. The same model and
/// options give the same bytes.
class MeshPicture : public Picture {
  public:
    /// `name` is the model's where it has no title. Throws as SkinOf, View::FromText and Groups do.
    MeshPicture(const ORQExcModel& model, const std::string& name,
                const MeshPictureOptions& options);

    const Scene& Contents() const { return m_scene; }

  private:
    void PlanLayout();
    void ColourByGroup(const Groups& groups);
    void ColourByValue(const FieldValues& field);
    /// A colour in the light on a part of a skin, of which `strength`, from 0 to 1, is taken.
    static Colour Shaded(Colour colour, const Skin& skin, std::size_t part, double strength);
    void PlanDots();
    void Paint(Canvas& canvas) const override;
    void PaintBelow(Image& image) const override { PaintPixels(m_scene, image); }
    void PaintBelow(Canvas& canvas) const override { PaintShapes(m_scene, canvas); }
    void PaintAxes(Canvas& canvas) const;

    double m_textSize = 0;
    double m_columnWidth =
        0;            // of legend and axes, at the right; 0 where there is no room for texts
    Frame m_frame{};  // of the mesh
    std::optional<View> m_view;
    std::string m_title;
    std::string m_counts;
    std::vector<LegendEntry> m_legend;
    std::optional<ColourBands> m_bands;
    std::string m_fieldName;
    Scene m_scene;
};

}  // namespace orqmodel
