// SPDX-License-Identifier: MIT
#include <gnr_deconvolution/psf_3d.h>

// Two photons must meet: the intensity of the excitation, squared.
int FloatPSF3D::TwoPhotonFluorescence(const DFT3D* pSizes, float* pfOut, const SDiffractionParamsEx* pParams,
                                      bool bCentered, bool bPadded) {
    SDiffractionParamsEx excitation = *pParams;
    excitation.dEmissionWavelength = pParams->dWavelength;
    double focus = 0.0;
    const int status = EpiFluorescence(pSizes, pfOut, &excitation, bCentered, bPadded, true, &focus);
    if (status != gnr::kSuccess) return status;
    DFT3D geometry = *pSizes;
    KERNEL3D_Square(&geometry, pfOut);
    return gnr::kSuccess;
}
