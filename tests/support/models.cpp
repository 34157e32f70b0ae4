#include "tests/support/models.h"

#include <algorithm>

namespace ZEMRA::Vibration::tests {

Model SecondOrder(const std::string& name, const ::Eigen::MatrixXd& M,
                  const ::Eigen::MatrixXd& R, const ::Eigen::MatrixXd& K,
                  const ::Eigen::MatrixXd& F, const ::Eigen::MatrixXd& P) {
    const ::Eigen::Index n = M.rows();
    const ::Eigen::MatrixXd mobility = M.inverse(), I = ::Eigen::MatrixXd::Identity(n, n);
    ::Eigen::MatrixXd A(2 * n, 2 * n), B(2 * n, F.cols()), C(2 * P.rows(), 2 * n);
    A << 0 * I, I, -mobility * K, -mobility * R;
    B << 0 * F, mobility * F;
    C << P, 0 * P, P * A.bottomRows(n);
    ::Eigen::MatrixXd D(C.rows(), F.cols());
    D << 0 * P * F, P * mobility * F;
    return {name, A, B, C, D};
}

::Eigen::MatrixXd Ends(::Eigen::Index n) {
    ::Eigen::MatrixXd F = ::Eigen::MatrixXd::Zero(n, std::min<::Eigen::Index>(n, 2));
    F(0, 0) = F(n - 1, F.cols() - 1) = 1;
    return F;
}

Model EndToEnd(const std::string& name, const ::Eigen::MatrixXd& K,
               const ::Eigen::MatrixXd& R) {
    const ::Eigen::MatrixXd I = ::Eigen::MatrixXd::Identity(K.rows(), K.rows());
    return SecondOrder(name, I, R, K, Ends(K.rows()), Ends(K.rows()).transpose());
}

Model Prescribe(Model model, ::Eigen::Index i, char type) {
    const ::Eigen::Index n = model.A.rows() / 2, last = model.C.rows();
    model.C.conservativeResizeLike(::Eigen::MatrixXd::Zero(last + 1, 2 * n));
    model.D.conservativeResizeLike(::Eigen::MatrixXd::Zero(last + 1, model.D.cols()));
    if (type == 'D') model.C(last, i) = 1;
    if (type == 'V') model.C(last, n + i) = 1;
    if (type == 'A') {
        model.C.row(last) = model.A.row(n + i);
        model.D.row(last) = model.B.row(n + i);
    }
    return model;
}

Model HalfCar() {
    const ::Eigen::RowVector4d centre(1, 0, 0, 0), front(1, -1.40, 0, 0), rear(1, 1.47, 0, 0);
    const ::Eigen::RowVector4d frontWheel(0, 0, 1, 0), rearWheel(0, 0, 0, 1);
    const ::Eigen::RowVector4d f = front - frontWheel, r = rear - rearWheel;
    const ::Eigen::Matrix4d M = ::Eigen::Vector4d(420, 1100, 53, 76).asDiagonal();
    const ::Eigen::Matrix4d R = 1000 * (f.transpose() * f + r.transpose() * r);
    const ::Eigen::Matrix4d tyres = ::Eigen::Vector4d(0, 0, 200000, 200000).asDiagonal();
    const ::Eigen::Matrix4d K = 10000 * f.transpose() * f + 13000 * r.transpose() * r + tyres;
    ::Eigen::MatrixXd F(4, 2), P(3, 4);
    F << frontWheel.transpose(), rearWheel.transpose();
    P << centre, front, rear;
    return SecondOrder("HalfCar", M, R, K, F, P);
}

}  // namespace ZEMRA::Vibration::tests
