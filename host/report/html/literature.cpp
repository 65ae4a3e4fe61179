// SPDX-License-Identifier: MIT

#include "report/html/literature.h"

#include <algorithm>
#include <utility>

namespace rydecon {
namespace {

constexpr Reference kReferences[] = {
    {"Ayers and Dainty 1988",
     "Ayers GR, Dainty JC (1988). Iterative blind deconvolution method and its applications. Optics Letters "
     "13, 547–549."},
    {"Beck and Teboulle 2009",
     "Beck A, Teboulle M (2009). A fast iterative shrinkage-thresholding algorithm for linear inverse "
     "problems. SIAM Journal on Imaging Sciences 2, 183–202."},
    {"Biggs and Andrews 1997",
     "Biggs DSC, Andrews M (1997). Acceleration of iterative image restoration algorithms. Applied Optics "
     "36, 1766–1775."},
    {"Born and Wolf 1999",
     "Born M, Wolf E (1999). Principles of Optics, 7th edition, section 8.8. Cambridge University Press."},
    {"Coifman and Donoho 1995",
     "Coifman RR, Donoho DL (1995). Translation-invariant de-noising. In: Wavelets and Statistics, Springer, "
     "125–150."},
    {"Daubechies et al. 2004",
     "Daubechies I, Defrise M, De Mol C (2004). An iterative thresholding algorithm for linear inverse "
     "problems with a sparsity constraint. Communications on Pure and Applied Mathematics 57, 1413–1457."},
    {"Dey et al. 2006",
     "Dey N, Blanc-Féraud L, Zimmer C, Roux P, Kam Z, Olivo-Marin J-C, Zerubia J (2006). Richardson–Lucy "
     "algorithm with total variation regularization for 3D confocal microscope deconvolution. Microscopy "
     "Research and Technique 69, 260–266."},
    {"Fish et al. 1995",
     "Fish DA, Brinicombe AM, Pike ER, Walker JG (1995). Blind deconvolution by means of the "
     "Richardson–Lucy algorithm. Journal of the Optical Society of America A 12, 58–65."},
    {"Gibson and Lanni 1991",
     "Gibson SF, Lanni F (1991). Experimental test of an analytical model of aberration in an oil-immersion "
     "objective lens used in three-dimensional light microscopy. Journal of the Optical Society of America A "
     "8, 1601–1613."},
    {"Gonzalez and Woods 2008",
     "Gonzalez RC, Woods RE (2008). Digital Image Processing, 3rd edition, section 5.8. Pearson."},
    {"Landweber 1951",
     "Landweber L (1951). An iteration formula for Fredholm integral equations of the first kind. American "
     "Journal of Mathematics 73, 615–624."},
    {"Lucy 1974",
     "Lucy LB (1974). An iterative technique for the rectification of observed distributions. The "
     "Astronomical Journal 79, 745–754."},
    {"Nesterov 1983",
     "Nesterov Y (1983). A method of solving a convex programming problem with convergence rate O(1/k²). "
     "Soviet Mathematics Doklady 27, 372–376."},
    {"Richardson 1972",
     "Richardson WH (1972). Bayesian-based iterative method of image restoration. Journal of the Optical "
     "Society of America 62, 55–59."},
    {"Rudin et al. 1992",
     "Rudin LI, Osher S, Fatemi E (1992). Nonlinear total variation based noise removal algorithms. Physica "
     "D 60, 259–268."},
    {"van der Voort and Strasters 1995",
     "van der Voort HTM, Strasters KC (1995). Restoration of confocal images for quantitative image "
     "analysis. Journal of Microscopy 178, 165–181."},
    {"Vonesch and Unser 2008",
     "Vonesch C, Unser M (2008). A fast thresholded Landweber algorithm for wavelet-regularized "
     "multidimensional deconvolution. IEEE Transactions on Image Processing 17, 539–549."},
    {"White 1994",
     "White RL (1994). Image restoration using the damped Richardson–Lucy method. In: The Restoration of HST "
     "Images and Spectra II, Space Telescope Science Institute, 104–110."},
    {"Wiener 1949",
     "Wiener N (1949). Extrapolation, Interpolation, and Smoothing of Stationary Time Series. Wiley."},
};

struct MethodPhrase {
    enum class For { Volumes, Pictures };

    std::string method;
    For images;
    std::string phrase;
    std::string regularized;  // follows the phrase where the strength is one that acts
};

constexpr auto kVolumes = MethodPhrase::For::Volumes;
constexpr auto kPictures = MethodPhrase::For::Pictures;

const std::vector<MethodPhrase>& MethodPhrases() {
    static const std::string richardsonLucy = "the Richardson–Lucy algorithm (Richardson 1972; Lucy 1974)";
    static const std::string tikhonovMiller =
        ", regularized by a Tikhonov–Miller term (van der Voort and Strasters 1995; Dey et al. 2006)";
    static const std::string shrinkage =
        ", with noise shrunk in wavelets (Daubechies et al. 2004) under random shifts (Coifman and Donoho "
        "1995)";
    static const std::vector<MethodPhrase> phrases = {
        {"accelerated", kVolumes,
         richardsonLucy + ", accelerated by a line search along each step (Biggs and Andrews 1997)",
         ", with damping of noise (White 1994)"},
        {"lucy-richardson", kVolumes, richardsonLucy, tikhonovMiller},
        {"lucy-richardson-auto", kVolumes, richardsonLucy + " with an automatic stop", tikhonovMiller},
        {"landweber", kVolumes, "the Landweber iteration (Landweber 1951) with momentum (Nesterov 1983)",
         shrinkage},
        {"landweber-auto", kVolumes, "the Landweber iteration (Landweber 1951) with an automatic stop",
         shrinkage},
        {"landweber-wavelet", kVolumes,
         "the thresholded Landweber iteration on wavelet coefficients (Landweber 1951; Daubechies et al. "
         "2004) "
         "with a step for each subband (Vonesch and Unser 2008) and momentum (Beck and Teboulle 2009)",
         ""},
        {"tv", kVolumes, "gradient steps on the squared error",
         ", regularized by total variation (Rudin et al. 1992; Dey et al. 2006)"},
        {"tv-ictm", kVolumes, "conjugate steps on the squared error",
         " with a Tikhonov–Miller term (after van der Voort and Strasters 1995)"},
        {"blind", kVolumes,
         "blind deconvolution, which refines the image and the point spread function by turns (Ayers and "
         "Dainty "
         "1988), by means of the Richardson–Lucy algorithm (Fish et al. 1995), passes of several sweeps "
         "being "
         "accelerated (Biggs and Andrews 1997)",
         ""},
        {"wiener", kVolumes, "a Wiener filter (Wiener 1949; Gonzalez and Woods 2008)", ""},
        {"rltm", kPictures, richardsonLucy + " on the slightly smoothed picture, with an automatic stop",
         tikhonovMiller},
        {"rltv", kPictures, richardsonLucy, ", regularized by a smoothing term (Dey et al. 2006)"},
        {"rltv-real", kPictures, richardsonLucy, ", regularized by total variation (Dey et al. 2006)"},
        {"landweber", kPictures,
         "the thresholded Landweber iteration on wavelet coefficients (Landweber 1951; Daubechies et al. "
         "2004) "
         "with a step for each subband (Vonesch and Unser 2008) and momentum (Beck and Teboulle 2009)",
         ""},
        {"landweber-plain", kPictures,
         "the thresholded Landweber iteration on wavelet coefficients (Landweber 1951; Daubechies et al. "
         "2004) "
         "of the slightly smoothed picture, with an automatic stop",
         ""},
        {"blind", kPictures,
         "blind deconvolution, which refines the picture and the point spread function by turns (Ayers and "
         "Dainty 1988), by means of the Richardson–Lucy algorithm (Fish et al. 1995), accelerated (Biggs and "
         "Andrews 1997)",
         ""},
    };
    return phrases;
}

/// The references whose citations stand in the text, in the order of mention.
CitedPhrase Cite(std::string text) {
    std::vector<std::pair<std::size_t, const Reference*>> found;
    for (const Reference& reference : kReferences) {
        const std::size_t at = text.find(reference.citation);
        if (at != std::string::npos) found.emplace_back(at, &reference);
    }
    std::sort(found.begin(), found.end());
    CitedPhrase phrase{std::move(text), {}};
    for (const auto& [at, reference] : found) phrase.references.push_back(reference);
    return phrase;
}

}  // namespace

CitedPhrase DescribeMethod(std::string_view method, bool perPicture, bool regularized) {
    const auto images = perPicture ? kPictures : kVolumes;
    const MethodPhrase* best = nullptr;
    for (const MethodPhrase& entry : MethodPhrases()) {
        if (entry.method != method) continue;
        if (best == nullptr || entry.images == images) best = &entry;
    }
    if (best == nullptr) return {std::string(method), {}};
    return Cite(best->phrase + (regularized ? best->regularized : ""));
}

CitedPhrase DescribePsfOrigin(PsfOrigin origin) {
    switch (origin) {
        case PsfOrigin::Layered:
            return Cite("computed from the optics with a layered diffraction model (Gibson and Lanni 1991)");
        case PsfOrigin::Fast:
            return Cite("computed from the optics by scalar diffraction theory (Born and Wolf 1999)");
        case PsfOrigin::File:
            break;
    }
    return {"read from a file", {}};
}

}  // namespace rydecon
